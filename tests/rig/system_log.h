// SPDX-License-Identifier: Apache-2.0
//
// Catches what the process under test logs with syslog, by acting as the system log of its private
// appliance root: it owns "/dev/log".
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zafo::rig {

class SystemLog {
  public:
    // The only log of the process; created on first use.
    static SystemLog &Get();

    SystemLog(const SystemLog &) = delete;
    SystemLog &operator=(const SystemLog &) = delete;

    // Discards what was logged so far.
    void Clear();

    // The messages since the last Clear, without priority, time and tag, as passed to syslog(3),
    // including a trailing line break.
    std::vector<std::string> Messages();

    // The priority numbers (facility and level) of the same messages.
    std::vector<int> Priorities();

  private:
    SystemLog();
    ~SystemLog();
    void Drain();
    void Flush();

    struct Line {
        int priority;
        std::string text;
    };

    int socket_;
    std::thread drain_;
    std::mutex mutex_;
    std::vector<Line> lines_;
    std::atomic<int> flushed_{0};
    int flushes_ = 0;
};

}  // namespace zafo::rig
