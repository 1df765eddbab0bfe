// SPDX-License-Identifier: Apache-2.0
//
// From a command line to an invocation: the command and its values.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/command.h"

namespace zafo::cli {

enum class Color { kAuto, kAlways, kNever };

struct Globals {
    std::string connection = "root";
    Form form = Form::kTable;
    std::vector<std::string> fields;
    int verbosity = 0;  // -1: quiet
    bool dry_run = false;
    bool yes = false;
    bool no_input = false;
    Color color = Color::kAuto;
};

// What a command line asks for.
enum class Ask { kCommand, kHelp, kVersion };

struct Invocation {
    Ask ask = Ask::kCommand;
    const Command *command = nullptr;  // kHelp: nullptr for the program's own help
    std::string noun;                  // kHelp without command: the noun, if one was given
    Globals globals;
    std::map<std::string, std::vector<std::string>, std::less<>> values;  // by option or argument

    bool Has(std::string_view name) const { return values.find(name) != values.end(); }
    // The value; nullptr: not given.
    const std::string *Find(std::string_view name) const;
    const std::vector<std::string> &All(std::string_view name) const;
    // A number of at least 0, checked by the parser.
    std::optional<int> Number(std::string_view name) const;
};

// "a,b", without empty parts.
std::vector<std::string> SplitAtCommas(std::string_view text);

// Throws Failure ("usage") for a command line that does not fit the table.
Invocation Parse(const Program &program, int argc, const char *const *argv);

// The form that a command line requests, even if the rest of it is wrong: the error message must
// have that form.
Form RequestedForm(int argc, const char *const *argv);

}  // namespace zafo::cli
