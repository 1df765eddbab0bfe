// SPDX-License-Identifier: Apache-2.0
//
// connection list, show, add, edit, delete and check.
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/listing.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/secret.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_record.h"
#include "tools/zafoldap/connection_check.h"
#include "tools/zafoldap/handlers.h"

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

const Fields kBaseFields = {{"base", "BASE DN"}};

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
            RefuseUsage(session, fmt::format("{}://{} conflicts with the rest: ldaps:// is --ssl "
                                             "on, ldap:// is --ssl off or start_tls",
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
        throw OwnFailure(
            "usage", {.subject = "zafoldap connection --help",
                      .reason = "--password-stdin and --password-file cannot be used together"});
    }
    return has("password-stdin") || has("password-file") || has("ask-password");
}

// Writes, and one line in the system log whatever comes of it.
template <typename Write>
void Change(const Session &session, const std::string &name, const std::vector<std::string> &keys,
            Write write) {
    LoggedChange(write, [&](const std::string &result) {
        LogChange(FullName(*session.invocation.command), "connection=" + name,
                  "keys=" + LoggedNames(keys), result);
    });
}

// Runs the checks and prints them; the failure of the step that failed.
std::optional<Failure> RunAndShow(StepPrinter &printer, Streams &streams,
                                  const Connection &connection, Host host,
                                  const std::string &settings) {
    return RunChecks(streams, connection, std::move(host), settings,
                     [&](const CheckStep &step) { printer.Print(step); });
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
    StepPrinter printer(session);
    const std::optional<Failure> failed =
        RunAndShow(printer, streams, connection, std::move(host), "not saved (dry run)");
    if (json) {
        session.document.Whole({{"would_save", record}, {"checks", printer.Steps()}},
                               /*ok=*/!failed);
    } else {
        printer.Finish(!failed);
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
            "there are no saved connections; zafoldap connection add NAME --uri HOST --base DN "
            "saves one");
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
        RefuseUsage(session, "a password needs --bind-dn, which is missing");
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
    Change(session, name, keys, [&] { SaveConnection(connection, password); });
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
        RefuseUsage(session, "--anonymous cannot be used with a bind DN or a password");
    }
    if (gives && connection.bind_dn.empty()) {
        RefuseUsage(session, "a password needs --bind-dn, and the connection has none");
    }
    if (keys.empty() && !anonymous && !gives)
        throw OwnFailure("nothing_to_change", {.subject = "zafoldap connection edit"});
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
    Change(session, name, keys, [&] {
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
    ConfirmDeleting(session, what, {});
    Change(session, name, {}, [&] { RemoveConnection(name); });
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
    StepPrinter printer(session);
    const std::optional<Failure> failed =
        RunAndShow(printer, session.streams, connection, OpenConnection(name, connection),
                   fmt::format("\"{}\" in {}", name, kConnectionFile));
    printer.Finish(!failed);
    if (failed) throw *failed;
    return 0;
}

// Needs no saved connection: the question is anonymous.
int SuggestConnection(Session &session) {
    const TypedAddress address = ParseTypedAddress(session.Argument("HOST"));
    Connection connection{.name = session.Argument("HOST"), .ssl = ZAFOLDAP_SSL_START_TLS};
    connection.servers = {address.server};
    connection.ssl = TransportOf(session, {address}, connection.ssl);
    const Host host = MakeHost(connection, std::nullopt);
    NameList bases;
    Ask(session.streams, connection.Known(),
        [&] { return ZAFOLDAPBrowserSuggestBaseDN(&host.Record(), bases.Address()); });
    std::vector<Json> rows;
    for (const std::string &base : bases.Names())
        rows.push_back({{"base", base}});
    const ListLayout layout = LayoutOf(session, kBaseFields, kBaseFields);
    ListWriter writer(session.streams, session.document, layout.fields, layout.heading);
    for (const Json &row : rows)
        writer.Write(row);
    writer.Finish(/*ok=*/true, /*complete=*/true);
    if (rows.empty())
        session.streams.Note(
            "the server names no base DN to an anonymous client: ask its administrator");
    return 0;
}

}  // namespace zafo::cli
