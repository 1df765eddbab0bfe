// SPDX-License-Identifier: Apache-2.0
//
// What the kernel tells of a process in "/proc".
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>

namespace zafo {

// One process and no other: its number alone is given again.
struct ProcessId {
    pid_t pid = 0;
    unsigned long long started = 0;  // in clock ticks since the system started

    static ProcessId Own();
    bool Lives() const;
    bool operator==(const ProcessId &) const = default;
};

// Nothing when there is no such process, or it has ended.
std::optional<ProcessId> LivingProcess(pid_t pid);

// When the process began; nothing when that cannot be seen.
std::optional<std::time_t> StartTimeOf(pid_t pid);

}  // namespace zafo
