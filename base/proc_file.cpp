// SPDX-License-Identifier: Apache-2.0
#include "base/proc_file.h"

#include "base/unique_fd.h"

#include <fcntl.h>

#include <cstdlib>

namespace zafo {

namespace {

// The status line's fields count from 1: the process id, the name, the state.
constexpr int kStateField = 3;
constexpr int kStartedField = 22;

}  // namespace

std::string ReadHead(const char *path) {
    const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char text[512];
    const ssize_t n = file.IsOpen() ? read(file.Get(), text, sizeof text) : -1;
    return n > 0 ? std::string(text, static_cast<size_t>(n)) : std::string();
}

std::optional<ProcessFacts> LivingProcess(pid_t pid) {
    if (pid <= 0) return {};
    const std::string line = ReadHead(("/proc/" + std::to_string(pid) + "/stat").c_str());
    // Of "PID (NAME) STATE …": the name may hold anything.
    const size_t name_end = line.rfind(") ");
    if (name_end == std::string::npos || name_end + 2 >= line.size()) return {};
    size_t at = name_end + 2;
    ProcessFacts facts{.state = line[at], .started = 0};
    if (facts.state == 'Z' || facts.state == 'X') return {};
    for (int field = kStateField; field < kStartedField; ++field) {
        at = line.find(' ', at);
        if (at == std::string::npos) return {};
        ++at;
    }
    facts.started = std::strtoull(line.c_str() + at, nullptr, 10);
    return facts;
}

}  // namespace zafo
