// SPDX-License-Identifier: Apache-2.0
//
// What the kernel tells of a process in "/proc".
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace zafo {

// The start of a file's text, enough for a number or a process's status line; empty when it
// cannot be read.
std::string ReadHead(const char *path);

struct ProcessFacts {
    char state = '\0';  // 'Z' and 'X' have ended
    // In clock ticks since the system started. A number and its start time name one process
    // only; the number alone is given again.
    unsigned long long started = 0;
};

// Nothing when there is no such process, or it has ended.
std::optional<ProcessFacts> LivingProcess(pid_t pid);

}  // namespace zafo
