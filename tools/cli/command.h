// SPDX-License-Identifier: Apache-2.0
//
// A program's commands as data. The parser, --help, the man pages and the shell completion are all
// generated from one such table, so they cannot disagree.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

// What a value names, which decides how the shell completes it and how it is checked.
enum class Kind { kText, kNumber, kFile, kConnection, kUser, kGroup };

struct Option {
    std::string_view name;        // without the dashes
    char letter = '\0';           // the one-letter form
    std::string_view value = {};  // how help shows its value; empty: a switch
    std::string_view help = {};
    std::vector<std::string_view> choices = {};  // the only values; empty: any
    Kind kind = Kind::kText;
    bool required = false;
    bool repeatable = false;
};

struct Argument {
    std::string_view name;  // in capitals, as help shows it
    std::string_view help = {};
    std::vector<std::string_view> choices = {};
    Kind kind = Kind::kText;
    bool required = true;
    bool repeatable = false;  // the last argument only
};

struct Example {
    std::string_view line;
    std::string_view what;
};

struct Session;

// Runs a command; returns the exit code, throws Failure.
using Handler = int (*)(Session &);

enum class Form { kTable, kPlain, kCsv, kJson, kLdif };

struct Command {
    std::string_view noun;
    std::string_view verb = {};  // one word or two ("home create"); empty: the noun alone
    std::vector<std::string_view> aliases = {};  // of the verb
    Handler run = nullptr;
    std::string_view summary = {};      // one line, no full stop
    std::string_view description = {};  // paragraphs, separated by empty lines
    std::vector<Argument> arguments = {};
    std::vector<Option> options = {};
    std::vector<std::vector<std::string_view>> exclusive = {};  // at most one option of each list
    std::vector<Example> examples = {};
    std::vector<int> exits = {};  // besides 0, 1 and 2
    bool entries = false;         // prints directory entries: has an LDIF form
};

struct Noun {
    std::string_view name;
    std::string_view summary;
};

struct ExitCode {
    int code;
    std::string_view meaning;
};

struct Topic {
    std::string_view title;
    std::string_view text;  // paragraphs, separated by empty lines
};

struct Program {
    std::string_view name;
    std::string_view summary;
    std::string_view description;
    std::vector<Noun> nouns;
    std::vector<Option> global_options;
    std::vector<Command> commands;
    std::vector<ExitCode> exits;
    std::vector<Topic> topics;     // further sections of the main page
    std::vector<Topic> files;      // path and what it holds
    std::vector<Topic> variables;  // environment
};

// The options and exit codes common to all programs.
const std::vector<Option> &CommonOptions();
const std::vector<ExitCode> &CommonExitCodes();

// The commands of all nouns, in order.
std::vector<Command> Joined(const std::vector<std::vector<Command>> &nouns);

// "connection add", or the noun alone.
std::string FullName(const Command &command);

// Finds a command by its noun and its verb or alias (empty: the noun is a command); nullptr: none.
const Command *FindCommand(const Program &program, std::string_view noun, std::string_view verb);

// The commands of one noun, in table order.
std::vector<const Command *> CommandsOf(const Program &program, std::string_view noun);

// The words that can follow a noun, or a noun and the first word of a two-word verb ("user", "user
// home"), each once and in table order, with aliases if requested.
std::vector<std::string_view> WordsAfter(const Program &program, std::string_view path,
                                         bool aliases);

constexpr std::string_view Name(Form form) {
    constexpr std::string_view kNames[] = {"table", "plain", "csv", "json", "ldif"};
    return kNames[static_cast<int>(form)];
}

}  // namespace zafo::cli
