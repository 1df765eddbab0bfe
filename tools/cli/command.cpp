// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/command.h"

#include <algorithm>

namespace zafo::cli {

const std::vector<Option> &CommonOptions() {
    static const std::vector<Option> kOptions = {
        {.name = "connection",
         .letter = 'c',
         .value = "NAME",
         .help = "the saved connection to use (default: root)",
         .kind = Kind::kConnection},
        {.name = "format",
         .value = "FORM",
         .help = "output format: table (default), plain (tab-separated, no heading), csv, json, "
                 "ldif (directory entries only)",
         .choices = {"table", "plain", "csv", "json", "ldif"}},
        {.name = "json", .help = "short for --format json"},
        {.name = "fields",
         .value = "A,B,…",
         .help = "print only these fields (columns, attributes), in this order"},
        {.name = "quiet", .letter = 'q', .help = "print only errors"},
        {.name = "verbose",
         .letter = 'v',
         .help = "say what is being done; twice (-vv): also the command lines of searches, with "
                 "passwords masked",
         .repeatable = true},
        {.name = "dry-run",
         .letter = 'n',
         .help = "print the checks and what would change, but change nothing"},
        {.name = "yes", .letter = 'y', .help = "do not ask for confirmation"},
        {.name = "no-input", .help = "never prompt: fail instead"},
        {.name = "color",
         .value = "WHEN",
         .help = "colour messages and headings: auto (default: on a terminal), always, never",
         .choices = {"auto", "always", "never"}},
        {.name = "help", .letter = 'h', .help = "print help"},
        {.name = "version", .help = "print the version"},
    };
    return kOptions;
}

const std::vector<ExitCode> &CommonExitCodes() {
    static const std::vector<ExitCode> kCodes = {
        {0, "done"},
        {1, "failed, or the answer is incomplete"},
        {2, "wrong usage, or a confirmation or password was needed but could not be prompted for"},
        {3, "not found"},
        {4, "authentication failed or not permitted"},
        {5, "already exists"},
        {6, "the server cannot be reached, or did not answer in time"},
        {7, "partly done"},
        {8, "busy: another process is doing this"},
        {130, "interrupted (Ctrl-C)"},
    };
    return kCodes;
}

std::vector<Command> Joined(const std::vector<std::vector<Command>> &nouns) {
    std::vector<Command> commands;
    for (const std::vector<Command> &noun : nouns)
        commands.insert(commands.end(), noun.begin(), noun.end());
    return commands;
}

std::string FullName(const Command &command) {
    std::string name(command.noun);
    if (!command.verb.empty()) name.append(" ").append(command.verb);
    return name;
}

const Command *FindCommand(const Program &program, std::string_view noun, std::string_view verb) {
    const auto found = std::ranges::find_if(program.commands, [&](const Command &command) {
        return command.noun == noun &&
               (command.verb == verb || std::ranges::count(command.aliases, verb) > 0);
    });
    return found == program.commands.end() ? nullptr : &*found;
}

std::vector<const Command *> CommandsOf(const Program &program, std::string_view noun) {
    std::vector<const Command *> commands;
    for (const Command &command : program.commands) {
        if (command.noun == noun) commands.push_back(&command);
    }
    return commands;
}

std::vector<std::string_view> WordsAfter(const Program &program, std::string_view path,
                                         bool aliases) {
    std::vector<std::string_view> words;
    const auto add = [&](std::string_view word) {
        if (std::ranges::count(words, word) == 0) words.push_back(word);
    };
    const std::string_view noun = path.substr(0, path.find(' '));
    const std::string begin =
        path.size() > noun.size() ? std::string(path.substr(noun.size() + 1)) + " " : std::string();
    for (const Command *command : CommandsOf(program, noun)) {
        std::string_view verb = command->verb;
        if (verb.empty() || !verb.starts_with(begin)) continue;
        verb.remove_prefix(begin.size());
        add(verb.substr(0, verb.find(' ')));
        for (std::string_view alias : command->aliases) {
            if (aliases && begin.empty()) add(alias);
        }
    }
    return words;
}

}  // namespace zafo::cli
