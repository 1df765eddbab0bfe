// SPDX-License-Identifier: Apache-2.0
//
// Runs a long call in a child process while this one shows its progress.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <type_traits>

#include "tools/cli/streams.h"

namespace zafo::cli {

// The child process, which writes a report before it exits. It is ended and reaped by the
// destructor at the latest.
class ForkedProcess {
  public:
    // `body` runs in the child, with the descriptor that takes the report, and returns whether it
    // was written. Throws Failure ("job_not_started").
    explicit ForkedProcess(const std::function<bool(int report)> &body);
    ~ForkedProcess();
    ForkedProcess(const ForkedProcess &) = delete;
    ForkedProcess &operator=(const ForkedProcess &) = delete;

    pid_t Pid() const { return pid_; }

    // Whether it has reported or died, after at most this long. A signal ends the wait.
    bool Ended(int milliseconds) const;

    // Ends it immediately (SIGTERM) and removes what it leaves in "/tmp".
    void End();

  protected:
    // Waits for its end; false if it died without a complete report.
    bool TakeReport(void *report, size_t size);

  private:
    void Reap();

    UniqueFd report_;
    pid_t pid_ = -1;
};

template <typename Report>
class ForkedCall : public ForkedProcess {
    static_assert(std::is_trivially_copyable_v<Report>);

  public:
    explicit ForkedCall(const std::function<Report()> &call)
        : ForkedProcess([&](int fd) {
              const Report report = call();
              return write(fd, &report, sizeof report) == ssize_t{sizeof report};
          }) {}

    // The result of the call; nothing if its process died before reporting it.
    std::optional<Report> Result() {
        Report report;
        return TakeReport(&report, sizeof report) ? std::optional(report) : std::nullopt;
    }
};

}  // namespace zafo::cli
