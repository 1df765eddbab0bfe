// SPDX-License-Identifier: Apache-2.0
//
// Programs of a service's description run as if the machine's first program had started them: no variable,
// folder, descriptor or signal setting of whoever asks for a start reaches them, but for its standard
// error. What a variable can make a shell, the loader or a tool do, it does not do here.
#pragma once

#include <sys/types.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace zafo {

// Starts a program with PATH and LC_ALL=C as its whole environment, in "/", its input and output
// "/dev/null", no signal blocked or ignored. `error` is its standard error; `passed` become its
// descriptors from 3 on, and it has no others. Nothing when it cannot be started.
std::optional<pid_t> StartClean(const std::vector<std::string> &words, int error,
                                std::initializer_list<int> passed = {});

// Runs a program to its end, with the caller's standard error: its exit code, 128 and the number of the
// signal that ended it; nothing when it cannot be started.
std::optional<int> RunClean(const std::vector<std::string> &words);

}  // namespace zafo
