// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/handlers.h"

#include "tools/cli/completion_command.h"

#include <algorithm>

namespace zafo::cli {

namespace {

struct HandlerRow {
    std::string_view command;
    Handler handler;
};

constexpr HandlerRow kHandlers[] = {
    {"enable", EnableServer},
    {"start", StartServer},
    {"stop", StopServer},
    {"restart", RestartServer},
    {"status", ShowServerStatus},
    {"reset", ResetServer},
    {"acl show", ShowAccessRules},
    {"config show", ShowConfiguration},
    {"backup now", BackUpNow},
    {"backup list", ListBackups},
    {"backup verify", VerifyBackup},
    {"backup config show", ShowBackupConfig},
    {"backup config set", SetBackupConfig},
    {"restore", RestoreBackup},
    {"progress", ShowProgress},
    {"automount set", SetAutomount},
    {"automount show", ShowAutomount},
    {"check", CheckServer},
    {"completion", PrintCompletion},
};

}  // namespace

Handler ZafoldapserverHandler(const Command &command) {
    const auto found = std::ranges::find(kHandlers, FullName(command), &HandlerRow::command);
    return found == std::end(kHandlers) ? nullptr : found->handler;
}

}  // namespace zafo::cli
