// SPDX-License-Identifier: Apache-2.0
#include "base/proc_file.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "base/whole_file.h"

namespace zafo {

namespace {

// The fields of the status line are numbered from 1: process id, name, state.
constexpr int kStateField = 3;
constexpr int kStartedField = 22;

constexpr long long kSecond = 1'000'000'000;

long long Nanoseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

}  // namespace

ProcessId ProcessId::Own() {
    return LivingProcess(getpid()).value_or(ProcessId{.pid = getpid()});
}

bool ProcessId::Lives() const {
    return LivingProcess(pid) == *this;
}

std::optional<ProcessId> LivingProcess(pid_t pid) {
    if (pid <= 0) return {};
    const std::string line = ReadHead("/proc/" + std::to_string(pid) + "/stat");
    // In "PID (NAME) STATE …" the name may contain anything.
    const size_t name_end = line.rfind(") ");
    if (name_end == std::string::npos || name_end + 2 >= line.size()) return {};
    size_t at = name_end + 2;
    if (line[at] == 'Z' || line[at] == 'X') return {};
    for (int field = kStateField; field < kStartedField; ++field) {
        at = line.find(' ', at);
        if (at == std::string::npos) return {};
        ++at;
    }
    return ProcessId{.pid = pid, .started = std::strtoull(line.c_str() + at, nullptr, 10)};
}

std::optional<std::time_t> StartTimeOf(pid_t pid) {
    const std::optional<ProcessId> process = LivingProcess(pid);
    const long ticks = sysconf(_SC_CLK_TCK);
    if (!process || ticks <= 0) return {};
    const long long boot = Nanoseconds(CLOCK_REALTIME) - Nanoseconds(CLOCK_BOOTTIME);
    const auto started = static_cast<long long>(process->started);
    return (boot + started * (kSecond / ticks)) / kSecond;
}

}  // namespace zafo
