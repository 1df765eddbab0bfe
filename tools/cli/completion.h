// SPDX-License-Identifier: Apache-2.0
//
// Completion in bash, zsh and fish. A short script for each shell passes the command line to the
// program itself, which answers what can stand at the cursor:
//
//   PROGRAM __complete bash LINE WORD    LINE up to the cursor, and what bash takes for its word
//   PROGRAM __complete zsh WORD…         the words up to the cursor, the last perhaps empty
//   PROGRAM __complete fish WORD…
//
// Prints one candidate per line, followed by a tab (for zsh a colon) and a description where the
// shell shows one; "/" alone stands for file names. Names of users and groups come from the
// directory, which has a second to answer; names that a shell could interpret are left out. On any
// failure there are no candidates and no message.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "tools/cli/command.h"

namespace zafo::cli {

inline constexpr std::string_view kComplete = "__complete";

// The answer to the words after "__complete".
std::string AnswerCompletion(const Program &program, std::span<const std::string> words);

// The script for "bash", "zsh" or "fish".
std::string CompletionScript(const Program &program, std::string_view shell);

}  // namespace zafo::cli
