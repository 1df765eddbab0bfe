// SPDX-License-Identifier: Apache-2.0
//
// reset: the one command that deletes accounts by the thousand.
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "platform/service.h"
#include "tools/cli/change_log.h"
#include "tools/cli/directory.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/database_census.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/server_lock.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

void Reset(Session &session) {
    ForgetErrors(session.streams);
    if (ZAFOLDAPServerDBReset() != 0) {
        const LocalServer now = LookAtServer();
        const char *state = now.Running() ? "it could not be stopped and is unchanged"
                            : now.SetUp()
                                ? "it is stopped, the database may be partly deleted"
                                : "the database is empty, but a configuration file is left";
        throw OwnFailure(Message::kResetFailed, {.reason = state}, session.streams.ToolWords());
    }
    QLIBServiceDisable(kServerService);
}

int ResetServer(Session &session) {
    RequireRoot(session);
    const LocalServer server = LookAtServer();
    if (!server.SetUp() && ZAFOLDAPServerDBIsEmpty() == 1)
        throw OwnFailure(Message::kServerNotSetUp, {});
    const std::optional<DatabaseCensus> census = TakeCensus();
    const std::string lost =
        DirectoryInWords(server, census) + ", its configuration and access rules";
    const auto count = [&](auto member) { return census ? Json((*census).*member) : Json(); };
    const Json result = {{"suffix", TextOrNull(server.suffix)},
                         {"users", count(&DatabaseCensus::users)},
                         {"groups", count(&DatabaseCensus::groups)}};
    if (session.Options().dry_run) {
        TellResult(session, {{"would_delete", result}}, "dry run: would delete " + lost);
        return 0;
    }
    const std::string shown =
        server.suffix.empty() ? "yes" : fmt::format("the suffix ({})", OneLine(server.suffix));
    ConfirmByTyping(session, server.suffix.empty() ? "yes" : server.suffix, "deleting " + lost,
                    fmt::format("This deletes {}.\nOnly a backup can bring it back. Type {} to "
                                "continue: ",
                                lost, shown),
                    {});
    const ServerLock lock;
    LoggedChange(session, kLoggedServer,
                 fmt::format("suffix=\"{}\" users={} groups={}", OneLine(server.suffix),
                             JsonText(result["users"]), JsonText(result["groups"])),
                 [&] { Reset(session); });
    TellResult(session, {{"deleted", result}},
               fmt::format("deleted: {}\nthe server is stopped and not enabled; certificates and "
                           "the saved connection \"root\" are kept",
                           lost));
    return 0;
}

}  // namespace

Command ResetCommand() {
    return {.noun = "reset",
            .run = ResetServer,
            .summary = "Delete the directory with all accounts",
            .description =
                "Stops the server and deletes its database with all users and groups, its "
                "configuration and its access rules. Shows what will be lost and asks for the "
                "suffix to be typed. Without a terminal, --yes is required. Certificates and the "
                "saved connection \"root\" are kept.",
            .examples = {{"zafoldapserver reset --dry-run", "what would be lost"},
                         {"zafoldapserver reset", "asks for the suffix"}},
            .exits = {4, 7, 8}};
}

}  // namespace zafo::cli
