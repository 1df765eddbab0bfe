// SPDX-License-Identifier: Apache-2.0
//
// start, stop, restart and status.
#include "tools/cli/certificate.h"
#include "tools/cli/change_log.h"
#include "tools/cli/listing.h"
#include "tools/zafoldapserver/enable_checks.h"
#include "tools/zafoldapserver/handlers.h"
#include "tools/zafoldapserver/server_lock.h"
#include "tools/zafoldapserver/server_paths.h"
#include "tools/zafoldapserver/service_facts.h"

#include "platform/error.h"
#include "zafoldap/error.h"
#include "zafoldap/server.h"

#include <fmt/format.h>

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

Json TextOrNull(const std::string &text) {
    return text.empty() ? Json() : Json(text);
}

// Sizes are numbers for a program and words for a person.
Json SizeFor(const Session &session, std::optional<unsigned long long> size) {
    if (!size) return {};
    return session.Options().form == Form::kTable ? Json(SizeInWords(*size)) : Json(*size);
}

Json StatusOf(const Session &session, const LocalServer &server, const ServiceFacts &service) {
    Json addresses = Json::array();
    for (const ListenAddress &address : ListenAddresses())
        addresses.push_back(address.url);
    const auto since = server.pid > 0 ? StartOf(server.pid) : std::nullopt;
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
        {"database_bytes", SizeFor(session, AllocatedSize(kDataFile))},
        {"certificate_ends",
         certificate && certificate->ends ? Json(DateText(*certificate->ends)) : Json()},
        {"starts_again", service.known && server.Running() ? Json(service.StartsAgain()) : Json()},
        {"crashes", service.known ? Json(service.ends) : Json()}};
}

// What a command comes to: for a program as data, for a person as a sentence.
int Say(Session &session, bool changed, const std::string &sentence) {
    const LocalServer now = LookAtServer();
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"changed", changed},
                                {"state", Name(now.state)},
                                {"pid", now.pid > 0 ? Json(now.pid) : Json()}});
    }
    session.streams.Note(sentence);
    return 0;
}

int WouldDo(Session &session, const char *what) {
    if (session.Options().form == Form::kJson) session.document.Whole({{"would", what}});
    session.streams.Note(fmt::format("dry run: would {} the server", what));
    return 0;
}

// Runs a function of the library that starts or stops the server.
template <typename Call>
void Run(Session &session, std::string_view key, Call call) {
    Streams &streams = session.streams;
    streams.ForgetToolWords();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    const ServerLock lock;
    LoggedChange(
        [&] {
            if (call() != 0) {
                const std::string words = streams.ToolWords();
                throw OwnFailure(key, {.reason = words.empty() ? "no reason was given" : ""},
                                 words);
            }
        },
        [&](const std::string &result) {
            LogChange(FullName(*session.invocation.command), "service=ldap-server", "", result);
        });
}

void NeedEnabled(const LocalServer &server) {
    if (!server.enabled) throw OwnFailure("server_not_enabled", {.subject = server.suffix});
}

}  // namespace

int StartServer(Session &session) {
    NeedRoot(session);
    const LocalServer server = NeedServer();
    if (server.Running())
        return Say(session, false,
                   fmt::format("the server is already running (process {})", server.pid));
    NeedEnabled(server);
    CheckPorts();
    if (session.Options().dry_run) return WouldDo(session, "start");
    Run(session, "server_not_started", ZAFOLDAPServerStart);
    return Say(session, true, "the server is running");
}

int StopServer(Session &session) {
    NeedRoot(session);
    if (!NeedServer().Running()) return Say(session, false, "the server is already stopped");
    if (session.Options().dry_run) return WouldDo(session, "stop");
    Run(session, "server_not_stopped", ZAFOLDAPServerStop);
    return Say(session, true, "the server is stopped; zafoldapserver start starts it again");
}

int RestartServer(Session &session) {
    NeedRoot(session);
    const LocalServer server = NeedServer();
    NeedEnabled(server);
    if (!server.Running()) CheckPorts();
    if (session.Options().dry_run) return WouldDo(session, "restart");
    Run(session, "server_not_started", [] { return ZAFOLDAPServerEnable(nullptr); });
    return Say(session, true, "the server is running");
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

}  // namespace zafo::cli
