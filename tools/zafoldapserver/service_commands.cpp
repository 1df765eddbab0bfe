// SPDX-License-Identifier: Apache-2.0
//
// start, stop, restart and status.
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "base/proc_file.h"
#include "tools/backup/destination.h"
#include "tools/cli/certificate.h"
#include "tools/cli/change_log.h"
#include "tools/cli/directory.h"
#include "tools/cli/listing.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/enable_checks.h"
#include "tools/zafoldapserver/server_lock.h"
#include "tools/zafoldapserver/service_facts.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

const Fields kStatusFields = {{"state", "STATE"},
                              {"pid", "PROCESS"},
                              {"since", "SINCE"},
                              {"enabled", "ENABLED"},
                              {"suffix", "SUFFIX"},
                              {"admin_dn", "ADMINISTRATOR"},
                              {"addresses", "ADDRESSES"},
                              {"database_bytes", "DATABASE"},
                              {"certificate_ends", "CERTIFICATE ENDS"},
                              {"starts_again", "STARTS AGAIN"},
                              {"crashes", "CRASHES"}};

Json StatusOf(const Session &session, const LocalServer &server, const ServiceFacts &service) {
    Json addresses = Json::array();
    for (const ListenAddress &address : ListenAddresses())
        addresses.push_back(address.url);
    const auto since = server.pid > 0 ? StartTimeOf(server.pid) : std::nullopt;
    const std::string file = DirectiveOf(kSlapdConf, "TLSCertificateFile");
    const auto certificate = file.empty() ? std::nullopt : ReadCertificateFile(file);
    return {
        {"state", Name(server.state)},
        {"pid", server.pid > 0 ? Json(server.pid) : Json()},
        {"since", since ? Json(TimeText(*since)) : Json()},
        {"enabled", server.enabled},
        {"suffix", TextOrNull(server.suffix)},
        {"admin_dn", TextOrNull(server.admin_dn)},
        {"addresses", addresses},
        {"database_bytes", SizeFor(session, backup::AllocatedSize(kDatabaseFile))},
        {"certificate_ends",
         certificate && certificate->ends ? Json(DateText(*certificate->ends)) : Json()},
        {"starts_again", service.known && server.Running() ? Json(service.StartsAgain()) : Json()},
        {"crashes", service.known ? Json(service.ends) : Json()}};
}

// Prints a command's result: data for programs, a sentence for people.
int Say(Session &session, bool changed, const std::string &sentence) {
    const LocalServer now = LookAtServer();
    TellResult(session,
               {{"changed", changed},
                {"state", Name(now.state)},
                {"pid", now.pid > 0 ? Json(now.pid) : Json()}},
               sentence);
    return 0;
}

int WouldDo(Session &session, const char *what) {
    TellResult(session, {{"would", what}}, fmt::format("dry run: would {} the server", what));
    return 0;
}

// Runs a library function that starts or stops the server.
template <typename Call>
void Run(Session &session, Message message, Call call) {
    Streams &streams = session.streams;
    ForgetErrors(streams);
    const ServerLock lock;
    LoggedChange(session, kLoggedServer, "", [&] {
        if (call() == 0) return;
        const std::string words = streams.ToolWords();
        throw OwnFailure(message, {.reason = words.empty() ? "no reason was given" : ""}, words);
    });
}

void RequireEnabled(const LocalServer &server) {
    if (!server.enabled) throw OwnFailure(Message::kServerNotEnabled, {.subject = server.suffix});
}

int StartServer(Session &session) {
    RequireRoot(session);
    const LocalServer server = RequireServer();
    if (server.Running())
        return Say(session, false,
                   fmt::format("the server is already running (process {})", server.pid));
    RequireEnabled(server);
    CheckPorts();
    if (session.Options().dry_run) return WouldDo(session, "start");
    Run(session, Message::kServerNotStarted, ZAFOLDAPServerStart);
    return Say(session, true, "the server is running");
}

Command StartCommand() {
    return {.noun = "start",
            .run = StartServer,
            .summary = "Start the server",
            .description =
                "Starts the server and checks two seconds later that it is still running. A "
                "running server is left alone.",
            .examples = {{"zafoldapserver start", "runs until zafoldapserver stop"}},
            .exits = {4, 8}};
}

int StopServer(Session &session) {
    RequireRoot(session);
    if (!RequireServer().Running()) return Say(session, false, "the server is already stopped");
    if (session.Options().dry_run) return WouldDo(session, "stop");
    Run(session, Message::kServerNotStopped, ZAFOLDAPServerStop);
    return Say(session, true, "the server is stopped; zafoldapserver start starts it again");
}

Command StopCommand() {
    return {.noun = "stop",
            .run = StopServer,
            .summary = "Stop the server",
            .description =
                "Stops the server and waits until it has ended. It is never killed: a server that "
                "does not end in time is left to finish its work.",
            .examples = {{"zafoldapserver stop", "clients cannot log in until it is started"}},
            .exits = {4, 8}};
}

int RestartServer(Session &session) {
    RequireRoot(session);
    const LocalServer server = RequireServer();
    RequireEnabled(server);
    if (!server.Running()) CheckPorts();
    if (session.Options().dry_run) return WouldDo(session, "restart");
    Run(session, Message::kServerNotStarted, [] { return ZAFOLDAPServerEnable(nullptr); });
    return Say(session, true, "the server is running");
}

Command RestartCommand() {
    return {.noun = "restart",
            .run = RestartServer,
            .summary = "Restart the server",
            .description =
                "Applies changes to slapd.conf, the access rules or a certificate. Starts a "
                "stopped server.",
            .examples = {{"zafoldapserver restart", "unavailable for a few seconds"}},
            .exits = {4, 8}};
}

int ShowServerStatus(Session &session) {
    constexpr int kExitCodes[] = {0, 3, 4};  // by state
    const LocalServer server = LookAtServer();
    const ServiceFacts service = LookAtService();
    PrintRecord(session.streams, session.document, kStatusFields,
                StatusOf(session, server, service));
    if (!server.readable)
        session.streams.Note(fmt::format("only root can read {}: run this with sudo", kSlapdConf));
    if (!server.SetUp())
        session.streams.Note("zafoldapserver enable --suffix dc=… sets the server up");
    if (server.state == ServerState::kStopped)
        session.streams.Note("zafoldapserver start starts it");
    if (server.Running() && service.known && !service.StartsAgain())
        session.streams.Note(
            "nothing restarts the server if it ends by itself; zafoldapserver check says why");
    return kExitCodes[static_cast<int>(server.state)];
}

Command StatusCommand() {
    return {.noun = "status",
            .run = ShowServerStatus,
            .summary = "Show whether the server is running",
            .description =
                "Shows the server's state without contacting it. The exit code is 0 when it is "
                "running, 3 when it is stopped, 4 when it is not set up. Fields: state (running, "
                "stopped, not set up), pid, since, enabled, suffix, admin_dn, addresses, "
                "database_bytes (on disk), certificate_ends, starts_again (the server is restarted "
                "when it ends by itself), crashes (how often it did).",
            .examples = {{"zafoldapserver status", "everything"},
                         {"zafoldapserver status --format plain --fields state", "only the state"}},
            .exits = {3, 4}};
}

}  // namespace

std::vector<Command> ServiceCommands() {
    return {StartCommand(), StopCommand(), RestartCommand(), StatusCommand()};
}

}  // namespace zafo::cli
