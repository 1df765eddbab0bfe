// SPDX-License-Identifier: Apache-2.0
//
// The completions that shells offer at the end of a command line.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/rig/slapd.h"

namespace zafo::rig {

constexpr const char *kFilesOffered = "FILES";  // stands for file names

// Calls the function that a script defines, as the shell does, with the line in $1. fish has its
// own command for that.
constexpr const char *kAskBash = R"(
program=${1%% *}
source <("$program" completion bash)
compopt() { COMPREPLY=(FILES); }
COMP_LINE=$1 COMP_POINT=${2:-${#1}}
before=${1:0:COMP_POINT}
"_$program" "$program" "${before##*[ =:\'\"]}" ''
printf '%s\n' "${COMPREPLY[@]}"
)";

constexpr const char *kAskZsh = R"(
program=${1%% *}
compdef() { : }
compset() { PREFIX=${PREFIX#*=} }
_files() { print FILES$PREFIX }
_describe() { print -l -- "${(@)${(@P)2}%%:*}" | grep -e "^$PREFIX" }
source <("$program" completion zsh)
words=("${(z)1}")
[[ $1 = *' ' ]] && words+=('')
CURRENT=$#words
PREFIX=${words[CURRENT]}
_$program
)";

constexpr const char *kAskFish = R"(
set program (string split ' ' $argv[1])[1]
eval $program completion fish | source
complete -C $argv[1]
)";

inline bool HasShell(const std::string &shell) {
    return access(("/usr/bin/" + shell).c_str(), X_OK) == 0;
}

// Without descriptions, in alphabetical order. `point`: the position of bash's cursor, if not at
// the end.
inline std::vector<std::string> Offered(const std::string &shell, const std::string &line,
                                        const std::string &point = "") {
    const char *script = shell == "bash" ? kAskBash : shell == "zsh" ? kAskZsh : kAskFish;
    std::vector<std::string> argv = {shell, "-c", script};
    if (shell != "fish") argv.push_back(shell);
    argv.insert(argv.end(), {line, point});
    const ProgramRun run = RunProgram(argv);
    EXPECT_EQ(run.err, "") << shell << ": " << line;
    std::vector<std::string> offered;
    std::istringstream lines(run.out);
    for (std::string word; std::getline(lines, word);) {
        if (!word.empty()) offered.push_back(word.substr(0, word.find('\t')));
    }
    std::ranges::sort(offered);
    return offered;
}

}  // namespace zafo::rig
