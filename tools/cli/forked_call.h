// SPDX-License-Identifier: Apache-2.0
//
// A long call made in a process of its own, while this one shows how far it is.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <type_traits>

#include "tools/cli/streams.h"

namespace zafo::cli {

// The process, which writes a report on its way out. Ended and reaped at the latest when this is
// destroyed.
class ForkedProcess {
  public:
    // `body` runs in the process, with the descriptor that takes the report; true when it was
    // written. Throws Failure ("job_not_started").
    explicit ForkedProcess(const std::function<bool(int report)> &body);
    ~ForkedProcess();
    ForkedProcess(const ForkedProcess &) = delete;
    ForkedProcess &operator=(const ForkedProcess &) = delete;

    pid_t Pid() const { return pid_; }

    // Whether it has reported or died, after so long a wait at most. A signal ends the wait.
    bool Ended(int milliseconds) const;

    // Ends it where it is (SIGTERM), and removes what it leaves in "/tmp".
    void End();

  protected:
    // Waits for its end; false when it died without the whole report.
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

    // What the call came to; nothing when its process died before it could tell.
    std::optional<Report> Result() {
        Report report;
        return TakeReport(&report, sizeof report) ? std::optional(report) : std::nullopt;
    }
};

}  // namespace zafo::cli
