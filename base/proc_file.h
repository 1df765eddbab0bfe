// SPDX-License-Identifier: Apache-2.0
//
// What the kernel tells of a process in "/proc".
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>

namespace zafo {

// Identifies one process for good; a pid alone is reused.
struct ProcessId {
    pid_t pid = 0;
    unsigned long long started = 0;  // in clock ticks since the system started

    static ProcessId Own();
    bool Lives() const;
    bool operator==(const ProcessId &) const = default;
};

// Nothing if there is no such process, or it has ended and is a zombie.
std::optional<ProcessId> LivingProcess(pid_t pid);

// When the process started; nothing if it does not live.
std::optional<std::time_t> StartTimeOf(pid_t pid);

}  // namespace zafo
