// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/program.h"

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

// A table, however long.
// NOLINTNEXTLINE(readability-function-size)
std::vector<Command> ConnectionCommands() {
    return {
        {.noun = "connection",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List the saved connections",
         .description =
             "Lists all saved connections. Passwords are never shown, only whether one is stored. "
             "Fields: name, servers, base, bind_dn, ssl, login_suffix, password_stored.",
         .examples = {{"zafoldap connection list", "all connections"},
                      {"zafoldap connection ls --format plain --fields name",
                       "their names, for a script"}},
         .exits = {4}},
        {.noun = "connection",
         .verb = "show",
         .summary = "Show one saved connection",
         .description =
             "Shows the settings of a saved connection. The password is never shown, only whether "
             "one is stored. Does not contact the server; use \"connection check\" for that.",
         .arguments = {kConnectionName},
         .examples = {{"zafoldap connection show root", "the appliance's own server"},
                      {"zafoldap connection show work --json", "the same for a script"}},
         .exits = {3, 4}},
        {.noun = "connection",
         .verb = "add",
         .summary = "Save a new connection",
         .description =
             "Saves how to reach a directory server. --bind-dn needs a password, which is prompted "
             "for twice or read from --password-stdin or --password-file, and stored "
             "enciphered.\n\n"
             "The connection is encrypted with StartTLS unless --ssl or ldaps:// says otherwise. "
             "Nothing is ever sent in clear text over a connection that asks for encryption.\n\n"
             "With --dry-run nothing is saved: the settings are printed, and the checks of "
             "\"connection check\" are run with them.",
         .arguments = {kNewConnectionName},
         .options = {Uri(true), BaseDn(true), kBindDn,
                     Ssl("encryption: start_tls (default), on (ldaps://) or off"),
                     LoginSuffix("domain appended to the names of directory users"),
                     PasswordStdinOption(), PasswordFileOption()},
         .examples = {{"zafoldap connection add work --uri ldap.example.com --base "
                       "dc=example,dc=com --bind-dn cn=reader,dc=example,dc=com",
                       "a connection that prompts for its password"},
                      {"zafoldap connection add public --uri ldap.example.org --base "
                       "dc=example,dc=org",
                       "an anonymous connection"},
                      {"zafoldap connection add ha --uri a.example.com --uri b.example.com:1389 "
                       "--base dc=example,dc=com",
                       "two servers; the second is used if the first is down"}},
         .exits = {4, 5}},
        {.noun = "connection",
         .verb = "edit",
         .summary = "Change a saved connection",
         .description = "Changes only what the options name. A new bind DN also needs its "
                        "password. --anonymous removes bind DN and password.",
         .arguments = {kConnectionName},
         .options = {Uri(false),
                     BaseDn(false),
                     kBindDn,
                     {.name = "anonymous", .help = "remove the bind DN and its password"},
                     Ssl("encryption: start_tls, on (ldaps://) or off"),
                     LoginSuffix("domain appended to the names of directory users; empty: none"),
                     {.name = "ask-password", .help = "ask for a new password"},
                     PasswordStdinOption(),
                     PasswordFileOption()},
         .examples = {{"zafoldap connection edit work --ask-password", "a new password"},
                      {"zafoldap connection edit work --ssl on --uri ldaps.example.com",
                       "another server, with TLS from the first byte"}},
         .exits = {3, 4}},
        {.noun = "connection",
         .verb = "delete",
         .aliases = {"rm"},
         .summary = "Delete a saved connection",
         .description =
             "Deletes a saved connection and its stored password after confirmation. The directory "
             "itself does not change. Without a terminal, --yes is required.",
         .arguments = {kConnectionName},
         .examples = {{"zafoldap connection delete work", "asks first"},
                      {"zafoldap connection rm work --yes", "does not ask"}},
         .exits = {3, 4}},
        {.noun = "connection",
         .verb = "check",
         .summary = "Test a saved connection step by step",
         .description =
             "Tests each step from the saved settings to listing users and says whether it works, "
             "or why not and what to do: settings, resolve (name to address), connect, tls, chain "
             "(who signed the server's certificate, and when each certificate ends), names (those "
             "that the certificate is for), bind, base, users, schema, type (kind of server), pool "
             "(numbers for new accounts). When a step fails, the later ones are skipped and the "
             "exit code is that of the failed step.",
         .arguments = {kMaybeConnectionName},
         .examples = {{"zafoldap connection check work", "what is wrong with this connection"},
                      {"zafoldap connection check work --json", "the same for a monitor"}},
         .exits = {3, 4, 6}},
        {.noun = "connection",
         .verb = "suggest",
         .summary = "Ask a server for its base DNs",
         .description = "Prints the base DNs that a server offers (its naming contexts), for "
                        "\"connection add --base\". The query is anonymous; a server that does not "
                        "allow this gives no suggestions. Field: base.",
         .arguments = {{.name = "HOST", .help = "HOST, HOST:PORT, ldap://HOST or ldaps://HOST"}},
         .options = {Ssl("encryption: start_tls (default), on (ldaps://) or off")},
         .examples = {{"zafoldap connection suggest ldap.example.com", "its base DNs"}},
         .exits = {6}},
    };
}

Command EntryDeleteCommand() {
    return {.noun = "entry",
            .verb = "delete",
            .aliases = {"rm"},
            .summary = "Delete one entry",
            .description =
                "Deletes the entry with this DN after confirmation. Nothing else changes: groups "
                "keep listing a user deleted this way (\"user delete\" removes it from them). An "
                "entry with others below it is refused. Without a terminal, --yes is required.",
            .arguments = {{.name = "DN",
                           .help = "the full DN, such as uid=alice,ou=people,dc=example,dc=com"}},
            .examples = {{"zafoldap entry delete cn=old,dc=example,dc=com", "asks first"}},
            .exits = {3, 4, 6, 8, 130}};
}

Command SearchCommand() {
    return {
        .noun = "search",
        .summary = "Search the directory",
        .description =
            "Prints the entries that match a filter (RFC 4515) as they arrive, however large the "
            "answer. Without a filter every entry matches. Attributes after the filter limit what "
            "is requested; \"+\" stands for the operational attributes, \"*\" for all others.\n\n"
            "In table, plain and csv the columns are the DN and the named attributes; several "
            "values share a column, in plain and csv separated by \"|\" (\"\\|\" is the character "
            "itself). Without named attributes a table shows each entry as a block, and plain and "
            "csv print a line \"dn, attribute, value\" for each value. JSON and LDIF keep "
            "everything.\n\n"
            "If the server cuts an answer off at a size limit, the received part is printed and "
            "marked as incomplete, and the exit code is 1.\n\n"
            "Values end at their first zero byte. Binary values are marked as such and may be "
            "incomplete.",
        .arguments = {{.name = "FILTER",
                       .help = "such as uid=alice or '(&(objectClass=person)(cn=a*))'",
                       .required = false},
                      {.name = "ATTR",
                       .help = "attributes to print",
                       .required = false,
                       .repeatable = true}},
        .options = {{.name = "base",
                     .value = "DN",
                     .help = "where to search (default: the connection's base DN)"},
                    {.name = "scope",
                     .value = "SCOPE",
                     .help = "base (the entry itself), one (entries directly below it), sub (all, "
                             "the default) or children (all but itself)",
                     .choices = {"base", "one", "sub", "children"}},
                    {.name = "limit",
                     .value = "N",
                     .help = "print at most N entries",
                     .kind = Kind::kNumber},
                    {.name = "offset",
                     .value = "N",
                     .help = "skip the first N entries",
                     .kind = Kind::kNumber},
                    {.name = "count", .help = "print only the number of matching entries"}},
        .examples = {{"zafoldap search uid=alice", "one user with all attributes"},
                     {"zafoldap search '(objectClass=posixAccount)' uid uidNumber cn",
                      "a table of users"},
                     {"zafoldap search --count '(mail=*@example.com)'",
                      "only the number of matches"},
                     {"zafoldap search --base ou=people,dc=example,dc=com --scope one --format csv "
                      "'(uid=*)' uid mail",
                      "for a spreadsheet"}},
        .exits = {3, 4, 6, 8, 130},
        .entries = true};
}

Command EntryShowCommand() {
    return {
        .noun = "entry",
        .verb = "show",
        .summary = "Show one entry",
        .description =
            "Prints the entry with this DN. --fields names the attributes to print; \"+\" "
            "stands for the operational ones.",
        .arguments = {{.name = "DN",
                       .help = "the full DN, such as uid=alice,ou=people,dc=example,dc=com"}},
        .examples = {{"zafoldap entry show uid=alice,ou=people,dc=example,dc=com", "everything"},
                     {"zafoldap entry show uid=alice,ou=people,dc=example,dc=com --format ldif "
                      "--fields '*,+'",
                      "with operational attributes, as LDIF"}},
        .exits = {3, 4, 6, 8, 130},
        .entries = true};
}

Command CompletionCommand() {
    return {.noun = "completion",
            .summary = "Print a completion script for a shell",
            .description =
                "Prints a script that lets the shell complete commands, options and names of saved "
                "connections, users and groups. User and group names come from the directory of "
                "the connection on the command line; if it does not answer within a second, none "
                "are offered.",
            .arguments = {{.name = "SHELL",
                           .help = "bash, zsh or fish",
                           .choices = {"bash", "zsh", "fish"}}},
            .examples = {{"source <(zafoldap completion bash)",
                          "in this shell; put it into ~/.bashrc for every shell"},
                         {"zafoldap completion fish | source", "in this shell"}}};
}

std::vector<Topic> Topics() {
    return {
        {"OUTPUT",
         "Data goes to standard output, messages and questions to standard error. When standard "
         "output is not a terminal, nothing is coloured or shortened.\n\n"
         "table (the default) is for people. plain has the same columns separated by tabs, without "
         "a heading. In both, line breaks, tabs and other control characters in values are written "
         "as \\n, \\t and \\xNN, and characters that reverse text or take no space, such as "
         "zero-width spaces, like <U+202E>. Messages are written the same way.\n\n"
         "csv follows RFC 4180, with two additions for human readers and spreadsheets: such "
         "characters are written like <U+202E> and bytes that are not text like <0xFF>; and the "
         "first character of a field that a spreadsheet would compute (=, @, or + and - before "
         "more than digits) is written like <U+003D>. A < that could be read as the start of one "
         "of these is written <U+003C>. Replacing these codes gives the value. ldif follows RFC "
         "2849, one line per value; anything but printable ASCII is in base64."},
        {"JSON",
         "With --json every command prints one object on standard output, even when it fails: "
         "{\"schema\":1,\"ok\":true,\"complete\":true,\"data\":…}. \"complete\" is false when "
         "there is more than was printed. The order of the members is not fixed.\n\n"
         "An entry is {\"dn\":…,\"attributes\":{NAME:[VALUE,…]}}. Values are strings; a binary "
         "value is {\"binary\":true,\"base64_prefix\":…}, which may be cut at a zero byte.\n\n"
         "An error is one object on standard error: {\"code\":EXIT CODE,\"ldap_code\":LDAP RESULT "
         "CODE or null,\"key\":\"SECTION.KEY\",\"message\":…,\"hint\":…,\"detail\":…}. Keys are "
         "stable, texts are not."},
        {"PASSWORDS",
         "No option takes a password, because anyone can read command lines. Passwords are "
         "prompted for twice on the terminal, or read from --password-stdin (one line) or "
         "--password-file (which group and others must not be able to read)."},
        {"LOG",
         "Every change is one line in the system log: who, over which connection, the settings or "
         "the entry and attributes, and the result, but never a password or another value."},
        {"NAMES AND NUMBERS",
         "The name of a new user or group has at most 32 of the characters a to z, 0 to 9, \"_\", "
         "\".\" and \"-\" and starts with a letter or \"_\"; --any-name accepts more. Existing "
         "accounts can have any name; those with * ( ) or \\ can be shown, but changed only by DN. "
         "The numbers 0, 65534, 65535 and 4294967295, those of local accounts of this system and, "
         "on the appliance's own kind of server, those outside its pool are refused.\n\n"
         "Several programs can add accounts at the same time: if a number chosen for a new account "
         "is taken meanwhile, the next one is used. In a directory with several writable servers, "
         "use only one of them for that."},
    };
}

}  // namespace

const Program &Zafoldap() {
    static const Program kProgram = [] {
        Program program{
            .name = "zafoldap",
            .summary = "directory client",
            .description =
                "Saves connections to LDAP directory servers, manages the users and groups of "
                "their directories and searches them. A command is a noun and a verb; \"zafoldap "
                "connection add root\" saves the connection that the other commands use by "
                "default.",
            .nouns = {{"connection", "saved connections to directory servers"},
                      {"user", "users of the directory"},
                      {"group", "groups of the directory"},
                      {"member", "members of groups"},
                      {"id", "numbers of users and groups"},
                      {"migrate", "copy accounts between this system and the directory"},
                      {"stat", "number of users or groups"},
                      {"search", "search the directory"},
                      {"entry", "single entries"},
                      {"completion", "completion scripts for shells"}},
            .global_options = CommonOptions(),
            .commands = ConnectionCommands(),
            .exits = CommonExitCodes(),
            .topics = Topics(),
            .files = {{"/usr/zafo/etc/private/ldapbrowser.conf",
                       "The saved connections, one section each."},
                      {"/usr/zafo/etc/private/machine.key",
                       "The key that enciphers their passwords."}},
            .variables = {{"NO_COLOR", "If not empty, no colours are used (see --color)."}}};
        std::vector<Command> accounts = AccountCommands();
        for (Command &command : accounts)
            program.commands.push_back(std::move(command));
        program.commands.push_back(SearchCommand());
        program.commands.push_back(EntryShowCommand());
        program.commands.push_back(EntryDeleteCommand());
        program.commands.push_back(CompletionCommand());
        return program;
    }();
    return kProgram;
}

}  // namespace zafo::cli
