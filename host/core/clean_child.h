// SPDX-License-Identifier: Apache-2.0
//
// Runs programs of a service's description as if init had started them: none of the requester's
// variables, folders, descriptors or signal settings reach them, except standard error. So
// variables that affect a shell, the loader or a tool have no effect.
#pragma once

#include <sys/types.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace zafo {

// Starts a program in "/", with only PATH and LC_ALL=C as its environment, "/dev/null" as its input
// and output, and no signal blocked or ignored. `error` is its standard error; `passed` become its
// descriptors from 3 on, and it has no others. Nothing if it cannot be started.
std::optional<pid_t> StartClean(const std::vector<std::string> &words, int error,
                                std::initializer_list<int> passed = {});

// For a program whose status was lost, because the caller ignores SIGCHLD or reaps all children.
inline constexpr int kUnknownExitCode = -1;

// Runs a program to its end, with the caller's standard error. Returns its exit code, or 128 plus
// the number of the signal that ended it; nothing if it cannot be started.
std::optional<int> RunClean(const std::vector<std::string> &words);

}  // namespace zafo
