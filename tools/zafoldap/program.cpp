// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion_command.h"
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

namespace {

Command Completion() {
    return CompletionCommand(
        "Prints a script that lets the shell complete commands, options and names of saved "
        "connections, users and groups. User and group names come from the directory of the "
        "connection on the command line; if it does not answer within a second, none are offered.",
        {{"source <(zafoldap completion bash)",
          "in this shell; put it into ~/.bashrc for every shell"},
         {"zafoldap completion fish | source", "in this shell"}});
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
    static const Program kProgram = {
        .name = "zafoldap",
        .summary = "directory client",
        .description =
            "Saves connections to LDAP directory servers, manages the users and groups of their "
            "directories and searches them. A command is a noun and a verb; \"zafoldap connection "
            "add root\" saves the connection that the other commands use by default.",
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
        .commands = Joined({ConnectionCommands(),
                            UserCommands(),
                            GroupCommands(),
                            MemberCommands(),
                            IdCommands(),
                            {MigrateCommand(), StatCommand()},
                            DirectoryCommands(),
                            {Completion()}}),
        .exits = CommonExitCodes(),
        .topics = Topics(),
        .files = {{"/usr/zafo/etc/private/ldapbrowser.conf",
                   "The saved connections, one section each."},
                  {"/usr/zafo/etc/private/machine.key", "The key that enciphers their passwords."}},
        .variables = {{"NO_COLOR", "If not empty, no colours are used (see --color)."}}};
    return kProgram;
}

}  // namespace zafo::cli
