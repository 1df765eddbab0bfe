// SPDX-License-Identifier: Apache-2.0
//
// connection list, show, add, edit, delete and check.
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/listing.h"
#include "tools/cli/secret.h"
#include "tools/zafoldap/connection_check.h"
#include "tools/zafoldap/saved_connection.h"
#include "tools/zafoldap/session.h"

#include "platform/ldap.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zafo::cli {

namespace {

const Fields kConnectionFields = {{"name", "NAME"},
                                  {"servers", "SERVERS"},
                                  {"base", "BASE DN"},
                                  {"bind_dn", "BIND DN"},
                                  {"ssl", "ENCRYPTION"},
                                  {"login_suffix", "LOGIN SUFFIX"},
                                  {"password_stored", "PASSWORD STORED"}};

const Fields kStepFields = {
    {"result", "RESULT"}, {"step", "STEP"}, {"detail", "DETAIL"}, {"hint", "HINT"}};

[[noreturn]] void RefuseUsage(Session &session, std::string reason) {
    throw OwnFailure("usage", {.subject = fmt::format("zafoldap {} --help",
                                                      FullName(*session.invocation.command)),
                               .reason = std::move(reason)});
}

void CheckDn(const std::string &dn) {
    const std::optional<SyntaxFault> fault =
        dn.empty() ? SyntaxFault{0, "it is empty"} : DnFault(dn);
    if (!fault) return;
    throw OwnFailure("bad_dn",
                     {.subject = fmt::format("\"{}\"", OneLine(dn)), .reason = fault->reason},
                     WithCaret(dn, fault->position));
}

void CheckLoginSuffix(const std::string &suffix) {
    const bool good = IsText(suffix) && suffix.find_first_of("\r\n\t ") == std::string::npos;
    if (!good)
        throw OwnFailure("bad_text", {.subject = "--login-suffix",
                                      .reason = "it holds blanks or control characters"});
}

// The transport that --uri and --ssl ask for together.
int TransportOf(Session &session, const std::vector<TypedAddress> &addresses, int otherwise) {
    const std::string *ssl = session.invocation.Find("ssl");
    int type = ssl != nullptr ? ZAFOLDAPSSLToType(ssl->c_str()) : otherwise;
    for (const TypedAddress &address : addresses) {
        if (address.scheme == "ldaps" && ssl == nullptr) type = ZAFOLDAP_SSL_LDAPS;
        const bool differs = (address.scheme == "ldaps") != (type == ZAFOLDAP_SSL_LDAPS);
        if (!address.scheme.empty() && differs) {
            RefuseUsage(session,
                        fmt::format("{}://{} does not go with the rest: ldaps:// is --ssl on, "
                                    "ldap:// is --ssl off or start_tls",
                                    address.scheme, address.server.Text()));
        }
    }
    return type;
}

// Puts what the options say into the settings and gives the names of what they touch.
std::vector<std::string> Apply(Session &session, Connection &connection) {
    const Invocation &invocation = session.invocation;
    std::vector<std::string> keys;
    std::vector<TypedAddress> addresses;
    for (const std::string &text : invocation.All("uri"))
        addresses.push_back(ParseTypedAddress(text));
    connection.ssl = TransportOf(session, addresses, connection.ssl);
    if (!addresses.empty()) {
        connection.servers.clear();
        for (const TypedAddress &address : addresses)
            connection.servers.push_back(address.server);
        keys.emplace_back("uri");
    }
    if (invocation.Has("ssl")) keys.emplace_back("ssl");
    if (const std::string *base = invocation.Find("base")) {
        CheckDn(*base);
        connection.base = *base;
        keys.emplace_back("basedn");
    }
    if (const std::string *dn = invocation.Find("bind-dn")) {
        CheckDn(*dn);
        connection.bind_dn = *dn;
        keys.emplace_back("binddn");
    }
    if (const std::string *suffix = invocation.Find("login-suffix")) {
        CheckLoginSuffix(*suffix);
        connection.login_suffix = *suffix;
        keys.emplace_back("loginsuffix");
    }
    return keys;
}

bool GivesPassword(const Invocation &invocation) {
    const auto has = [&](std::string_view name) { return invocation.Has(name); };
    if (has("password-stdin") && has("password-file")) {
        throw OwnFailure("usage",
                         {.subject = "zafoldap connection --help",
                          .reason = "--password-stdin and --password-file exclude each other"});
    }
    return has("password-stdin") || has("password-file") || has("ask-password");
}

// Writes, and one line in the system log whatever comes of it.
template <typename Write>
void Change(std::string_view verb, const std::string &name, const std::vector<std::string> &keys,
            Write write) {
    try {
        write();
    } catch (const Failure &failure) {
        LogChange(verb, name, keys, fmt::format("failed ({})", failure.key));
        throw;
    }
    LogChange(verb, name, keys, "done");
}

Json StepJson(const CheckStep &step) {
    return {{"step", step.step},
            {"result", Name(step.result)},
            {"detail", step.detail.empty() ? Json() : Json(step.detail)},
            {"hint", step.failure ? Json(step.failure->hint) : Json()}};
}

// Runs the checks and prints them, in a table each as soon as it is done. Throws the failure of
// the step that failed, after everything is printed.
std::vector<Json> RunAndShow(Session &session, const Connection &connection, Host host,
                             const std::string &settings, std::optional<Failure> &failed) {
    constexpr std::string_view kColors[] = {"\033[32m", "\033[33m", "\033[31m", "\033[2m"};
    Streams &streams = session.streams;
    std::vector<Json> steps;
    failed = RunChecks(streams, connection, std::move(host), settings, [&](const CheckStep &step) {
        steps.push_back(StepJson(step));
        if (session.Options().form != Form::kTable || !session.Options().fields.empty()) return;
        const bool colors = streams.ColorsOut();
        streams.Out(fmt::format("{}{:<8}{} {:<{}}{}\n",
                                colors ? kColors[static_cast<int>(step.result)] : "",
                                Name(step.result), colors ? "\033[0m" : "", step.step,
                                step.detail.empty() ? 0 : 10, OneLine(step.detail)));
        streams.Flush();
    });
    return steps;
}

void PrintSteps(Session &session, const std::vector<Json> &steps, bool ok) {
    const Form form = session.Options().form;
    if (form == Form::kTable && session.Options().fields.empty()) return;
    if (form == Form::kJson && !ok) {
        session.document.Whole(steps, /*ok=*/false, /*complete=*/true);
        return;
    }
    PrintList(session.streams, session.document, kStepFields, steps);
}

// What would be saved, and whether it would work.
int DryRun(Session &session, const Connection &connection,
           const std::optional<std::string> &password) {
    Streams &streams = session.streams;
    Json record = connection.AsJson();
    const bool json = session.Options().form == Form::kJson;
    streams.Note("dry run: nothing is saved");
    if (!json) PrintRecord(streams, session.document, kConnectionFields, record);
    if (!json) streams.Out("\n");
    Host host = password || !connection.password_stored
                    ? MakeHost(connection, password)
                    : OpenConnection(connection.name, connection);
    std::optional<Failure> failed;
    const std::vector<Json> steps =
        RunAndShow(session, connection, std::move(host), "not saved (dry run)", failed);
    if (json) {
        session.document.Whole({{"would_save", record}, {"checks", steps}}, /*ok=*/!failed);
    } else {
        PrintSteps(session, steps, !failed);
    }
    if (failed) throw *failed;
    return 0;
}

void PrintSaved(Session &session, const Connection &connection) {
    if (session.Options().form == Form::kJson) {
        session.document.Whole(connection.AsJson());
        return;
    }
    session.streams.Note(fmt::format(
        "connection \"{0}\" saved; test it with: zafoldap connection check {0}", connection.name));
}

}  // namespace

int ListConnections(Session &session) {
    std::vector<Json> records;
    for (const Connection &connection : ReadConnections())
        records.push_back(connection.AsJson());
    PrintList(session.streams, session.document, kConnectionFields, records);
    if (records.empty()) {
        session.streams.Note(
            "there are no saved connections; zafoldap connection add NAME --uri "
            "HOST --base DN makes one");
    }
    return 0;
}

int ShowConnection(Session &session) {
    const std::string &name = session.Argument("NAME");
    PrintRecord(session.streams, session.document, kConnectionFields,
                ReadConnection(name).AsJson());
    return 0;
}

int AddConnection(Session &session) {
    const std::string &name = session.Argument("NAME");
    CheckConnectionName(name);
    Connection connection{.name = name, .ssl = ZAFOLDAP_SSL_START_TLS};
    std::vector<std::string> keys = Apply(session, connection);
    const bool gives = GivesPassword(session.invocation);
    if (gives && connection.bind_dn.empty()) {
        RefuseUsage(session, "a password goes with --bind-dn, which is missing");
    }
    if (FindConnection(name)) throw OwnFailure("connection_exists", {.connection = name});
    std::optional<std::string> password;
    if (!connection.bind_dn.empty()) {
        password = TakePassword(session.streams, session.invocation, connection.bind_dn);
        connection.password_stored = true;
        keys.emplace_back("bindpw");
    }
    if (session.Options().dry_run) return DryRun(session, connection, password);
    if (!session.invocation.Has("ssl")) keys.emplace_back("ssl");
    Change("add", name, keys, [&] { SaveConnection(connection, password); });
    PrintSaved(session, connection);
    return 0;
}

int EditConnection(Session &session) {
    const Invocation &invocation = session.invocation;
    const std::string &name = session.Argument("NAME");
    Connection connection = ReadConnection(name);
    std::vector<std::string> keys = Apply(session, connection);
    const bool anonymous = invocation.Has("anonymous");
    const bool gives = GivesPassword(invocation);
    if (anonymous && (gives || invocation.Has("bind-dn"))) {
        RefuseUsage(session, "--anonymous does not go with a bind DN or a password");
    }
    if (gives && connection.bind_dn.empty()) {
        RefuseUsage(session, "a password goes with --bind-dn, and the connection has none");
    }
    if (keys.empty() && !anonymous && !gives)
        throw OwnFailure("nothing_to_change", {.connection = name});
    std::vector<const char *> removed;
    if (anonymous) {
        connection.bind_dn.clear();
        connection.password_stored = false;
        removed = {"binddn", "bindpw"};
    }
    if (invocation.Has("login-suffix") && connection.login_suffix.empty())
        removed.push_back("loginsuffix");
    std::optional<std::string> password;
    if (gives || invocation.Has("bind-dn")) {  // another DN has another password
        password = TakePassword(session.streams, invocation, connection.bind_dn);
        connection.password_stored = true;
        keys.emplace_back("bindpw");
    }
    if (session.Options().dry_run) return DryRun(session, connection, password);
    for (const char *key : removed) {
        if (std::ranges::count(keys, key) == 0) keys.emplace_back(key);
    }
    Change("edit", name, keys, [&] {
        if (!removed.empty()) RemoveKeys(name, removed);
        SaveConnection(connection, password);
    });
    PrintSaved(session, connection);
    return 0;
}

int DeleteConnection(Session &session) {
    const std::string &name = session.Argument("NAME");
    const Connection connection = ReadConnection(name);
    const std::string what =
        fmt::format("connection \"{}\" to {}{}", name, connection.Servers(),
                    connection.password_stored ? " with its stored password" : "");
    Streams &streams = session.streams;
    if (session.Options().dry_run) {
        streams.Note(fmt::format("dry run: would delete {}", what));
        if (session.Options().form == Form::kJson) {
            session.document.Whole({{"would_delete", connection.AsJson()}});
        }
        return 0;
    }
    if (!session.Options().yes) {
        if (!streams.CanAsk())
            throw OwnFailure("confirmation_needed", {.subject = fmt::format("deleting {}", what)});
        const std::string answer =
            streams.Ask(fmt::format("Delete {}? [y/N] ", OneLine(what)), /*echo=*/true);
        if (answer != "y" && answer != "Y" && answer != "yes") {
            throw OwnFailure("refused", {.subject = fmt::format("deleting {}", what)});
        }
    }
    Change("delete", name, {}, [&] { RemoveConnection(name); });
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"deleted", name}});
    } else {
        streams.Note(fmt::format("connection \"{}\" deleted", name));
    }
    return 0;
}

int CheckConnection(Session &session) {
    const std::string *given = session.invocation.Find("NAME");
    const std::string name = given != nullptr ? *given : session.Options().connection;
    const Connection connection = ReadConnection(name);
    Host host = OpenConnection(name, connection);
    std::optional<Failure> failed;
    const std::vector<Json> steps =
        RunAndShow(session, connection, std::move(host),
                   fmt::format("\"{}\" in {}", name, kConnectionFile), failed);
    PrintSteps(session, steps, !failed);
    if (failed) throw *failed;
    return 0;
}

}  // namespace zafo::cli
