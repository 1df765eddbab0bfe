// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/program.h"

#include "tools/cli/completion_command.h"
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

namespace {

Command CompletionCommand() {
    return {.noun = "completion",
            .run = PrintCompletion,
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
    static const Program kProgram = {
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
        .commands = Joined({ConnectionCommands(),
                            UserCommands(),
                            GroupCommands(),
                            MemberCommands(),
                            IdCommands(),
                            {MigrateCommand(), StatCommand()},
                            DirectoryCommands(),
                            {CompletionCommand()}}),
        .exits = CommonExitCodes(),
        .topics = Topics(),
        .files = {{"/usr/zafo/etc/private/ldapbrowser.conf",
                   "The saved connections, one section for each."},
                  {"/usr/zafo/etc/private/machine.key",
                   "The key with which their passwords are enciphered."}},
        .variables = {{"NO_COLOR", "Not empty: no colours (see --color)."}}};
    return kProgram;
}

}  // namespace zafo::cli
