// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/user/commands.h"

#include "tools/zafoldap/commands.h"

namespace zafo::cli {

std::vector<Command> UserCommands() {
    return {UserListCommand(),         UserShowCommand(),   UserGroupsCommand(),
            UserAddCommand(),          UserEditCommand(),   UserRenameCommand(),
            UserDeleteCommand(),       UserPasswdCommand(), UserHomeCreateCommand(),
            UserHomeCreateAllCommand()};
}

}  // namespace zafo::cli
