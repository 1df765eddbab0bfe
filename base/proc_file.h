// SPDX-License-Identifier: Apache-2.0
//
// What the kernel reports about a process in "/proc".
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>

namespace zafo {

// Identifies a process uniquely; a pid alone may be reused.
struct ProcessId {
    pid_t pid = 0;
    unsigned long long started = 0;  // in clock ticks since boot

    static ProcessId Own();
    bool Lives() const;
    bool operator==(const ProcessId &) const = default;
};

// Nothing if the process does not exist or is a zombie.
std::optional<ProcessId> LivingProcess(pid_t pid);

// When the process started; nothing if it is not running.
std::optional<std::time_t> StartTimeOf(pid_t pid);

}  // namespace zafo
