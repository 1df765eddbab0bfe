// SPDX-License-Identifier: Apache-2.0
//
// Completion in bash, zsh and fish. A short script for each shell hands the command line to the
// program itself, which answers what can stand at the cursor:
//
//   PROGRAM __complete bash LINE WORD    LINE up to the cursor, and what bash takes for its word
//   PROGRAM __complete zsh WORD…         the words up to the cursor, the last perhaps empty
//   PROGRAM __complete fish WORD…
//
// One candidate on a line, and after a tab (for zsh a colon) what it is, where the shell shows
// that; "/" alone stands for the names of files. Names of users and groups are asked of the
// directory, which has a second to answer. Those that a shell could take for more than a name are
// left out. Whatever fails, there is no candidate and no message.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/command.h"

namespace zafo::cli {

inline constexpr std::string_view kComplete = "__complete";

// What a program answers to the words after "__complete".
std::string AnswerCompletion(const Program &program, std::span<const std::string> words);

// The script for one of "bash", "zsh" and "fish".
std::string CompletionScript(const Program &program, std::string_view shell);

}  // namespace zafo::cli
