// SPDX-License-Identifier: Apache-2.0
//
// connection list, show, add, edit, delete and check.
#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "platform/ldap.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/listing.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/secret.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_record.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/connection_check.h"

namespace zafo::cli {

namespace {

const Argument kConnectionName{
    .name = "NAME", .help = "name of the saved connection", .kind = Kind::kConnection};

const Argument kNewConnectionName{
    .name = "NAME",
    .help = "name to save it under: letters, digits, dots, underscores and hyphens, at most 64"};

const Argument kMaybeConnectionName{
    .name = "NAME",
    .help = "name of the saved connection (default: that of --connection)",
    .kind = Kind::kConnection,
    .required = false};

Option Uri(bool required) {
    return {.name = "uri",
            .value = "HOST",
            .help =
                "the server: HOST, HOST:PORT, ldap://HOST or ldaps://HOST; repeat it for servers "
                "to try after the first",
            .required = required,
            .repeatable = true};
}

Option BaseDn(bool required) {
    return {.name = "base",
            .value = "DN",
            .help = "base DN of the tree, such as dc=example,dc=com",
            .required = required};
}

Option Ssl(std::string_view help) {
    return {.name = "ssl", .value = "HOW", .help = help, .choices = {"off", "on", "start_tls"}};
}

const Option kBindDn{
    .name = "bind-dn",
    .value = "DN",
    .help = "DN to bind as (prompts for its password); without it the connection is anonymous"};

Option LoginSuffix(std::string_view help) {
    return {.name = "login-suffix", .value = "DOMAIN", .help = help};
}

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
        throw OwnFailure(Message::kBadText, {.subject = "--login-suffix",
                                             .reason = "it contains blanks or control characters"});
}

// The transport that --uri and --ssl together request.
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

// Applies the options to the settings and returns the names of those changed.
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
    return invocation.Has("password-stdin") || invocation.Has("password-file") ||
           invocation.Has("ask-password");
}

template <typename Write>
void Change(const Session &session, const std::string &name, const std::vector<std::string> &keys,
            Write write) {
    LoggedChange(session, "connection=" + name, "keys=" + LoggedNames(keys), write);
}

// Shows what would be saved, and whether it would work.
int DryRun(Session &session, const Connection &connection,
           const std::optional<std::string> &password) {
    Streams &streams = session.streams;
    Json record = connection.AsJson();
    const bool json = session.WantsJson();
    streams.Note("dry run: nothing is saved");
    if (!json) PrintRecord(streams, session.document, kConnectionFields, record);
    if (!json) streams.Out("\n");
    Host host = password || !connection.password_stored
                    ? MakeHost(connection, password)
                    : OpenConnection(connection.name, connection);
    StepPrinter printer(session);
    const std::optional<Failure> failed =
        RunChecks(streams, connection, std::move(host), "not saved (dry run)", printer);
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
    TellResult(session, connection.AsJson(),
               fmt::format("connection \"{0}\" saved; test it with: zafoldap connection check {0}",
                           connection.name));
}

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

Command ConnectionListCommand() {
    return {.noun = "connection",
            .verb = "list",
            .aliases = {"ls"},
            .run = ListConnections,
            .summary = "List the saved connections",
            .description =
                "Lists all saved connections. Passwords are never shown, only whether one is "
                "stored. Fields: name, servers, base, bind_dn, ssl, login_suffix, password_stored.",
            .examples = {{"zafoldap connection list", "all connections"},
                         {"zafoldap connection ls --format plain --fields name",
                          "their names, for a script"}},
            .exits = {4}};
}

int ShowConnection(Session &session) {
    const std::string &name = session.Argument("NAME");
    PrintRecord(session.streams, session.document, kConnectionFields,
                ReadConnection(name).AsJson());
    return 0;
}

Command ConnectionShowCommand() {
    return {
        .noun = "connection",
        .verb = "show",
        .run = ShowConnection,
        .summary = "Show one saved connection",
        .description =
            "Shows the settings of a saved connection. The password is never shown, only whether "
            "one is stored. Does not contact the server; use \"connection check\" for that.",
        .arguments = {kConnectionName},
        .examples = {{"zafoldap connection show root", "the appliance's own server"},
                     {"zafoldap connection show work --json", "the same for a script"}},
        .exits = {3, 4}};
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
    if (FindConnection(name)) throw OwnFailure(Message::kConnectionExists, {.connection = name});
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

Command ConnectionAddCommand() {
    return {
        .noun = "connection",
        .verb = "add",
        .run = AddConnection,
        .summary = "Save a new connection",
        .description =
            "Saves how to reach a directory server. --bind-dn needs a password, which is prompted "
            "for twice or read from --password-stdin or --password-file, and stored enciphered.\n\n"
            "The connection is encrypted with StartTLS unless --ssl or ldaps:// says otherwise. "
            "Nothing is ever sent in clear text over a connection that asks for encryption.\n\n"
            "With --dry-run nothing is saved: the settings are printed, and the checks of "
            "\"connection check\" are run with them.",
        .arguments = {kNewConnectionName},
        .options = {Uri(true), BaseDn(true), kBindDn,
                    Ssl("encryption: start_tls (default), on (ldaps://) or off"),
                    LoginSuffix("domain appended to the names of directory users"), kPasswordStdin,
                    kPasswordFile},
        .exclusive = {{"password-stdin", "password-file"}},
        .examples = {{"zafoldap connection add work --uri ldap.example.com --base "
                      "dc=example,dc=com --bind-dn cn=reader,dc=example,dc=com",
                      "a bind DN, whose password is prompted for"},
                     {"zafoldap connection add public --uri ldap.example.org --base "
                      "dc=example,dc=org",
                      "an anonymous connection"},
                     {"zafoldap connection add ha --uri a.example.com --uri b.example.com:1389 "
                      "--base dc=example,dc=com",
                      "two servers; the second is used if the first is down"}},
        .exits = {4, 5}};
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
        throw OwnFailure(Message::kNothingToChange, {.subject = "zafoldap connection edit"});
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

Command ConnectionEditCommand() {
    return {.noun = "connection",
            .verb = "edit",
            .run = EditConnection,
            .summary = "Change a saved connection",
            .description =
                "Changes only what the options specify. A new bind DN also needs its password. "
                "--anonymous removes bind DN and password.",
            .arguments = {kConnectionName},
            .options = {Uri(false),
                        BaseDn(false),
                        kBindDn,
                        {.name = "anonymous", .help = "remove the bind DN and its password"},
                        Ssl("encryption: start_tls, on (ldaps://) or off"),
                        LoginSuffix("domain appended to the names of directory users; empty: none"),
                        {.name = "ask-password", .help = "ask for a new password"},
                        kPasswordStdin,
                        kPasswordFile},
            .exclusive = {{"password-stdin", "password-file"}},
            .examples = {{"zafoldap connection edit work --ask-password", "a new password"},
                         {"zafoldap connection edit work --ssl on --uri ldaps.example.com",
                          "another server, with TLS from the first byte"}},
            .exits = {3, 4}};
}

int DeleteConnection(Session &session) {
    const std::string &name = session.Argument("NAME");
    const Connection connection = ReadConnection(name);
    const std::string what =
        fmt::format("connection \"{}\" to {}{}", name, connection.Servers(),
                    connection.password_stored ? " with its stored password" : "");
    if (session.Options().dry_run) {
        TellResult(session, {{"would_delete", connection.AsJson()}},
                   fmt::format("dry run: would delete {}", what));
        return 0;
    }
    ConfirmDeleting(session, what, {});
    Change(session, name, {}, [&] { RemoveConnection(name); });
    TellResult(session, {{"deleted", name}}, fmt::format("connection \"{}\" deleted", name));
    return 0;
}

Command ConnectionDeleteCommand() {
    return {.noun = "connection",
            .verb = "delete",
            .aliases = {"rm"},
            .run = DeleteConnection,
            .summary = "Delete a saved connection",
            .description =
                "Deletes a saved connection and its stored password after confirmation. The "
                "directory itself does not change. Without a terminal, --yes is required.",
            .arguments = {kConnectionName},
            .examples = {{"zafoldap connection delete work", "asks first"},
                         {"zafoldap connection rm work --yes", "does not ask"}},
            .exits = {3, 4}};
}

int CheckConnection(Session &session) {
    const std::string *given = session.invocation.Find("NAME");
    const std::string name = given != nullptr ? *given : session.Options().connection;
    const Connection connection = ReadConnection(name);
    StepPrinter printer(session);
    const std::optional<Failure> failed =
        RunChecks(session.streams, connection, OpenConnection(name, connection),
                  fmt::format("\"{}\" in {}", name, kConnectionFile), printer);
    printer.Finish(!failed);
    if (failed) throw *failed;
    return 0;
}

Command ConnectionCheckCommand() {
    return {
        .noun = "connection",
        .verb = "check",
        .run = CheckConnection,
        .summary = "Test a saved connection step by step",
        .description =
            "Tests each step from the saved settings to listing users and says whether it "
            "works, or why not and what to do: settings, resolve (name to address), connect, "
            "tls, chain (who signed the server's certificate, and when each certificate ends), "
            "names (those that the certificate is for), bind, base, users, schema, type (kind "
            "of server), pool (numbers for new accounts). When a step fails, the later ones "
            "are skipped and the exit code is that of the failed step.",
        .arguments = {kMaybeConnectionName},
        .examples = {{"zafoldap connection check work", "what is wrong with this connection"},
                     {"zafoldap connection check work --json", "the same for a monitoring system"}},
        .exits = {3, 4, 6}};
}

// Needs no saved connection: the query is anonymous.
int SuggestConnection(Session &session) {
    const TypedAddress address = ParseTypedAddress(session.Argument("HOST"));
    Connection connection{.name = session.Argument("HOST"), .ssl = ZAFOLDAP_SSL_START_TLS};
    connection.servers = {address.server};
    connection.ssl = TransportOf(session, {address}, connection.ssl);
    const Host host = MakeHost(connection, std::nullopt);
    NameList bases;
    Ask(session.streams, connection.AsFacts(),
        [&] { return ZAFOLDAPBrowserSuggestBaseDN(&host.Record(), bases.Address()); });
    const ListLayout layout = LayoutOf(session, kBaseFields, kBaseFields);
    ListWriter writer(session.streams, session.document, layout.fields, layout.heading);
    for (const std::string &base : bases.Names())
        writer.WriteText(base);
    writer.Finish(/*ok=*/true, /*complete=*/true);
    if (bases.Names().empty())
        session.streams.Note(
            "the server names no base DN to an anonymous client: ask its administrator");
    return 0;
}

Command ConnectionSuggestCommand() {
    return {.noun = "connection",
            .verb = "suggest",
            .run = SuggestConnection,
            .summary = "Ask a server for its base DNs",
            .description =
                "Prints the base DNs that a server offers (its naming contexts), for \"connection "
                "add --base\". The query is anonymous; a server that does not allow this gives no "
                "suggestions. Field: base.",
            .arguments = {{.name = "HOST", .help = "HOST, HOST:PORT, ldap://HOST or ldaps://HOST"}},
            .options = {Ssl("encryption: start_tls (default), on (ldaps://) or off")},
            .examples = {{"zafoldap connection suggest ldap.example.com", "its base DNs"}},
            .exits = {6}};
}

}  // namespace

std::vector<Command> ConnectionCommands() {
    return {ConnectionListCommand(),   ConnectionShowCommand(),   ConnectionAddCommand(),
            ConnectionEditCommand(),   ConnectionDeleteCommand(), ConnectionCheckCommand(),
            ConnectionSuggestCommand()};
}

}  // namespace zafo::cli
