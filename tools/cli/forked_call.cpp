// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/forked_call.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "base/pipe.h"
#include "tools/cli/leftover_files.h"

namespace zafo::cli {

namespace {

[[noreturn]] void Refuse() {
    throw OwnFailure(Message::kJobNotStarted, {.reason = std::strerror(errno)});
}

// An exception must not unwind into the caller's frames, of which two processes now have a copy.
[[noreturn]] void Run(const std::function<bool(int report)> &body, int report) noexcept {
    _exit(body(report) ? 0 : 1);
}

}  // namespace

ForkedProcess::ForkedProcess(const std::function<bool(int report)> &body) {
    std::optional<Pipe> pipe = OpenPipe();
    if (!pipe) Refuse();
    report_ = std::move(pipe->reader);
    pid_ = fork();
    if (pid_ < 0) Refuse();
    if (pid_ == 0) Run(body, pipe->writer.Get());
}

ForkedProcess::~ForkedProcess() {
    if (pid_ > 0) End();
}

bool ForkedProcess::Ended(int milliseconds) const {
    pollfd end{.fd = report_.Get(), .events = POLLIN, .revents = 0};
    return poll(&end, 1, milliseconds) > 0;
}

bool ForkedProcess::TakeReport(void *report, size_t size) {
    ssize_t n = 0;
    do {
        n = read(report_.Get(), report, size);
    } while (n < 0 && errno == EINTR);
    Reap();
    return n == static_cast<ssize_t>(size);
}

void ForkedProcess::End() {
    kill(pid_, SIGTERM);
    Reap();
    RemoveLeftoverFiles();
}

void ForkedProcess::Reap() {
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
}

}  // namespace zafo::cli
