// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/handlers.h"

#include "tools/cli/completion_command.h"

#include <algorithm>

namespace zafo::cli {

namespace {

struct HandlerRow {
    std::string_view command;
    Handler handler;
};

constexpr HandlerRow kHandlers[] = {
    {"connection list", ListConnections},
    {"connection show", ShowConnection},
    {"connection add", AddConnection},
    {"connection edit", EditConnection},
    {"connection delete", DeleteConnection},
    {"connection check", CheckConnection},
    {"connection suggest", SuggestConnection},
    {"user list", ListUsers},
    {"user show", ShowUser},
    {"user add", AddUser},
    {"user edit", EditUser},
    {"user rename", RenameUser},
    {"user delete", DeleteUsers},
    {"user passwd", SetUserPassword},
    {"user groups", ListUserGroups},
    {"user home create", CreateUserHome},
    {"user home create-all", CreateAllUserHomes},
    {"group list", ListGroups},
    {"group show", ShowGroup},
    {"group add", AddGroup},
    {"group edit", EditGroup},
    {"group rename", RenameGroup},
    {"group delete", DeleteGroups},
    {"member list", ListMembers},
    {"member add", AddMembers},
    {"member remove", RemoveMembers},
    {"id next", NextId},
    {"id pool show", ShowIdPool},
    {"id check", CheckIds},
    {"migrate", MigrateAccounts},
    {"stat", CountAccounts},
    {"search", SearchDirectory},
    {"entry show", ShowEntry},
    {"entry delete", DeleteEntry},
    {"completion", PrintCompletion},
};

}  // namespace

Handler ZafoldapHandler(const Command &command) {
    const auto found = std::ranges::find(kHandlers, FullName(command), &HandlerRow::command);
    return found == std::end(kHandlers) ? nullptr : found->handler;
}

}  // namespace zafo::cli
