// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/user/commands.h"

#include "tools/zafoldap/account_delete.h"

namespace zafo::cli {

std::vector<Option> UserFieldOptions() {
    return {NumberOption("uid", "user number"),
            {.name = "gid",
             .value = "GROUP",
             .help = "primary group, by name or number",
             .kind = Kind::kGroup},
            {.name = "full-name", .value = "TEXT", .help = "full name (gecos)"},
            {.name = "mail", .value = "ADDRESS", .help = "mail address"},
            {.name = "shell", .value = "PATH", .help = "login shell"},
            {.name = "home", .value = "PATH", .help = "home folder"},
            {.name = "expires",
             .value = "DATE",
             .help = "the day from which the account cannot be used, such as 2027-12-31, or never"},
            {.name = "no-password-change", .help = "the user may not change the password"},
            {.name = "set",
             .value = "ATTR=VALUE",
             .help = "another attribute of the entry, stored exactly as given",
             .repeatable = true}};
}

std::vector<Command> UserCommands() {
    return {UserListCommand(),         UserShowCommand(),   UserGroupsCommand(),
            UserAddCommand(),          UserEditCommand(),   UserRenameCommand(),
            UserDeleteCommand(),       UserPasswdCommand(), UserHomeCreateCommand(),
            UserHomeCreateAllCommand()};
}

}  // namespace zafo::cli
