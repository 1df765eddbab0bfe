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
    .help = "name of the saved connection (default: the one of --connection)",
    .kind = Kind::kConnection,
    .required = false};

Option Uri(bool required) {
    return {.name = "uri",
            .value = "HOST",
            .help =
                "the server: HOST, HOST:PORT, ldap://HOST or ldaps://HOST; give it again for "
                "servers to try after the first",
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

const Option kBindDn{.name = "bind-dn",
                     .value = "DN",
                     .help =
                         "DN to bind as; its password is asked for. Without it the connection "
                         "is anonymous"};

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
         .description = "Lists all saved connections. Passwords are never shown, only whether "
                        "there is one. Fields: name, servers, base, bind_dn, ssl, login_suffix, "
                        "password_stored.",
         .examples = {{"zafoldap connection list", "all connections"},
                      {"zafoldap connection ls --format plain --fields name",
                       "their names, for a script"}},
         .exits = {4}},
        {.noun = "connection",
         .verb = "show",
         .summary = "Show one saved connection",
         .description = "Shows the settings of a saved connection. The password is never shown, "
                        "only whether there is one. The server is not asked; that is what "
                        "\"connection check\" does.",
         .arguments = {kConnectionName},
         .examples = {{"zafoldap connection show root", "the appliance's own server"},
                      {"zafoldap connection show work --json", "the same for a script"}},
         .exits = {3, 4}},
        {.noun = "connection",
         .verb = "add",
         .summary = "Save a new connection",
         .description =
             "Saves how to reach a directory server. With --bind-dn a password is needed: it is "
             "asked for twice, or read from --password-stdin or --password-file. It is stored "
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
                       "a connection with a password that is asked for"},
                      {"zafoldap connection add public --uri ldap.example.org --base "
                       "dc=example,dc=org",
                       "an anonymous one"},
                      {"zafoldap connection add ha --uri a.example.com --uri b.example.com:1389 "
                       "--base dc=example,dc=com",
                       "two servers, the second when the first is down"}},
         .exits = {4, 5}},
        {.noun = "connection",
         .verb = "edit",
         .summary = "Change a saved connection",
         .description = "Changes what the options name and leaves the rest. A new bind DN needs "
                        "its password as well. --anonymous removes bind DN and password.",
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
         .description = "Deletes a saved connection with its stored password, after asking. The "
                        "directory itself is not touched. Without a terminal --yes is needed.",
         .arguments = {kConnectionName},
         .examples = {{"zafoldap connection delete work", "asks first"},
                      {"zafoldap connection rm work --yes", "does not ask"}},
         .exits = {3, 4}},
        {.noun = "connection",
         .verb = "check",
         .summary = "Test a saved connection step by step",
         .description =
             "Goes from the saved settings to listing users and says of each step whether it "
             "works, or why not and what to do: settings, resolve (name to address), connect, "
             "tls, chain (who signed the server's certificate, and when each of them ends), names "
             "(those that the certificate is for), bind, base, users, schema, type (kind of "
             "server), pool (numbers for new accounts). After a step that failed the later ones "
             "are skipped. The exit code is that of the step that failed.",
         .arguments = {kMaybeConnectionName},
         .examples = {{"zafoldap connection check work", "what is wrong with this connection"},
                      {"zafoldap connection check work --json", "the same for a monitor"}},
         .exits = {3, 4, 6}},
        {.noun = "connection",
         .verb = "suggest",
         .summary = "Ask a server for its base DNs",
         .description =
             "Prints the base DNs that a server offers (its naming contexts), for \"connection "
             "add --base\". The server is asked anonymously; one that does not answer such "
             "questions has no suggestions. Field: base.",
         .arguments = {{.name = "HOST", .help = "HOST, HOST:PORT, ldap://HOST or ldaps://HOST"}},
         .options = {Ssl("encryption: start_tls (default), on (ldaps://) or off")},
         .examples = {{"zafoldap connection suggest ldap.example.com", "its base DNs"}},
         .exits = {6}},
    };
}

Command EntryDeleteCommand() {
    return {
        .noun = "entry",
        .verb = "delete",
        .aliases = {"rm"},
        .summary = "Delete one entry",
        .description =
            "Deletes the entry with this DN, after asking. Nothing else is touched: groups keep "
            "listing a user who is deleted this way (user delete takes it out of them). An entry "
            "with others below it is refused. Without a terminal --yes is needed.",
        .arguments = {{.name = "DN",
                       .help = "the whole DN, such as uid=alice,ou=people,dc=example,dc=com"}},
        .examples = {{"zafoldap entry delete cn=old,dc=example,dc=com", "asks first"}},
        .exits = {3, 4, 6, 8, 130}};
}

Command SearchCommand() {
    return {
        .noun = "search",
        .summary = "Search the directory",
        .description =
            "Prints the entries that match a filter (RFC 4515), as they arrive: the size of the "
            "answer does not matter. Without a filter every entry matches. Attributes after the "
            "filter limit what is asked for; \"+\" stands for the operational attributes, \"*\" "
            "for all others.\n\n"
            "A table, plain and csv have the DN and the named attributes as columns; several "
            "values stand side by side, in plain and csv with \"|\" between them (and \"\\|\" for "
            "the character itself). Without named attributes a table shows each entry as a block, "
            "and plain and csv have a line \"dn, attribute, value\" for each value. JSON and LDIF "
            "keep everything.\n\n"
            "An answer that the server cut off at a size limit is printed, marked as incomplete, "
            "and the exit code is 1.\n\n"
            "Values end at their first zero byte. Binary values are marked as such and not "
            "complete.",
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
                     .help = "base (the entry itself), one (entries right below it), sub (all, the "
                             "default) or children (all but itself)",
                     .choices = {"base", "one", "sub", "children"}},
                    {.name = "limit",
                     .value = "N",
                     .help = "print at most N entries",
                     .kind = Kind::kNumber},
                    {.name = "offset",
                     .value = "N",
                     .help = "leave out the first N entries",
                     .kind = Kind::kNumber},
                    {.name = "count", .help = "print only the number of matching entries"}},
        .examples = {{"zafoldap search uid=alice", "one user with everything"},
                     {"zafoldap search '(objectClass=posixAccount)' uid uidNumber cn",
                      "a table of users"},
                     {"zafoldap search --count '(mail=*@example.com)'", "how many"},
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
                       .help = "the whole DN, such as uid=alice,ou=people,dc=example,dc=com"}},
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
                "Prints the script that makes the shell complete commands, options and names of "
                "saved connections, users and groups. Names of users and groups are asked from "
                "the directory of the connection on the command line; when it does not answer "
                "within a second there are none.",
            .arguments = {{.name = "SHELL",
                           .help = "bash, zsh or fish",
                           .choices = {"bash", "zsh", "fish"}}},
            .examples = {{"source <(zafoldap completion bash)",
                          "in this bash, and in ~/.bashrc for every one"},
                         {"zafoldap completion fish | source", "in this fish"}}};
}

std::vector<Topic> Topics() {
    return {
        {"OUTPUT",
         "Data goes to standard output, messages and questions to standard error. When standard "
         "output is not a terminal nothing is coloured or shortened.\n\n"
         "table (the default) is for people. plain has the same columns between tabs, without a "
         "heading. In both, line breaks, tabs and other control characters in values are written "
         "as "
         "\\n, \\t and \\xNN, and as <U+202E> what turns text around or takes no room, for example "
         "zero-width spaces. Messages are written the same way.\n\n"
         "csv follows RFC 4180, with two additions for what is read by eye or by a spreadsheet: "
         "those characters stand as <U+202E> and bytes that are no text as <0xFF>, and a field "
         "that a spreadsheet would compute has its first character as <U+003D>: =, @, or + and - "
         "before more than figures. A < that would be read as the beginning of one of these is "
         "<U+003C>. Putting the characters back gives the value. ldif follows RFC 2849, one line "
         "for each "
         "value; whatever is not printable ASCII is in base64."},
        {"JSON",
         "With --json every command prints one object on standard output, also when it fails: "
         "{\"schema\":1,\"ok\":true,\"complete\":true,\"data\":…}. \"complete\" is false when "
         "there "
         "is more than was printed. The order of the members is not fixed.\n\n"
         "An entry is {\"dn\":…,\"attributes\":{NAME:[VALUE,…]}}. Values are strings; a binary "
         "value is {\"binary\":true,\"base64_prefix\":…}, whose bytes may end early, at a zero "
         "byte.\n\n"
         "An error is one object on standard error: {\"code\":EXIT CODE,\"ldap_code\":LDAP RESULT "
         "CODE or null,\"key\":\"SECTION.KEY\",\"message\":…,\"hint\":…,\"detail\":…}. Keys are "
         "stable, "
         "texts are not."},
        {"PASSWORDS",
         "No option takes a password, because command lines can be read by everybody. It is "
         "asked for twice on the terminal, or read from --password-stdin (one line) or "
         "--password-file (which group and others must not be able to read)."},
        {"LOG",
         "Every change is one line in the system log: who, over which connection, which "
         "settings or which entry and attributes, and the result; never a password or another "
         "value."},
        {"NAMES AND NUMBERS",
         "A new user or group has a name of a to z, 0 to 9, \"_\", \".\" and \"-\", at most 32 of "
         "them, the first a letter or \"_\"; --any-name accepts more. Names of existing accounts "
         "can be anything; those with * ( ) or \\ can be looked at, and changed by DN only. The "
         "numbers 0, 65534, 65535 and 4294967295, those of local accounts of this system and, on "
         "the appliance's own kind of server, those outside its pool are refused.\n\n"
         "Several programs can add accounts at the same time: a number that was chosen for a new "
         "account and taken meanwhile is replaced by the next. On a directory with several "
         "writable servers use one of them for that."},
    };
}

}  // namespace

const Program &Zafoldap() {
    static const Program kProgram = [] {
        Program program{
            .name = "zafoldap",
            .summary = "directory client",
            .description =
                "Keeps connections to LDAP directory servers, manages the users and groups of "
                "the directories behind them and searches them. Commands are a noun and a verb; "
                "\"zafoldap connection add "
                "root\" makes the connection that the others use by default.",
            .nouns = {{"connection", "saved connections to directory servers"},
                      {"user", "users of the directory"},
                      {"group", "groups of the directory"},
                      {"member", "who is in which group"},
                      {"id", "numbers of users and groups"},
                      {"migrate", "copy accounts between this system and the directory"},
                      {"stat", "how many there are"},
                      {"search", "search the directory"},
                      {"entry", "single entries"},
                      {"completion", "completion scripts for shells"}},
            .global_options = CommonOptions(),
            .commands = ConnectionCommands(),
            .exits = CommonExitCodes(),
            .topics = Topics(),
            .files = {{"/usr/zafo/etc/private/ldapbrowser.conf",
                       "The saved connections, one section for each."},
                      {"/usr/zafo/etc/private/machine.key",
                       "The key with which their passwords are enciphered."}},
            .variables = {{"NO_COLOR", "Not empty: no colours (see --color)."}}};
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
