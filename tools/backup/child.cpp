// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/child.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/child.h"
#include "base/pidfd.h"
#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"

namespace zafo::backup {

namespace {

constexpr std::size_t kMostWords = 4096;
// How often to check for a stop request: a signal that arrives just before the wait does not
// interrupt it.
constexpr int kSecond = 1000;
constexpr int kGrace = 2000;
constexpr const char *kEnvironment[] = {"PATH=/usr/zafo/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                        "LC_ALL=C", nullptr};

bool IsReady(int fd, int milliseconds) {
    pollfd event{fd, POLLIN, 0};
    return poll(&event, 1, milliseconds) > 0;
}

}  // namespace

Pipe MakePipe() {
    std::optional<Pipe> pipe = OpenPipe();
    if (!pipe) throw SystemError(Exit::kSystem, "cannot make a pipe", errno);
    return std::move(*pipe);
}

Child::Child(const ChildSpec &spec) : words_(memfd_create("words", MFD_CLOEXEC)) {
    if (!words_.IsOpen()) throw SystemError(Exit::kSystem, "cannot start " + spec.argv[0], errno);
    Spawner spawner;
    spawner.PassOrNull(spec.input, STDIN_FILENO);
    spawner.PassOrNull(spec.output, STDOUT_FILENO);
    spawner.Pass(words_.Get(), STDERR_FILENO);
    spawner.CloseFrom(STDERR_FILENO + 1);
    // The job shuts down its children itself, in order.
    spawner.LeadGroup();
    const std::vector<char *> argv = ArgumentVector(spec.argv);
    int reason =
        spawner.Start(argv[0], argv.data(), const_cast<char *const *>(kEnvironment), &pid_);
    if (reason != 0) throw SystemError(Exit::kSystem, "cannot start " + spec.argv[0], reason);
    end_ = OpenPidfd(pid_);
    if (end_.IsOpen()) return;
    // Without it the child's end would go unnoticed.
    reason = errno;
    kill(pid_, SIGKILL);
    Reap();
    throw SystemError(Exit::kSystem, "cannot watch " + spec.argv[0], reason);
}

Child::~Child() {
    End();
}

int Child::Wait(const std::function<void()> &meanwhile) {
    while (!reaped_) {
        EndIfStopped();
        if (IsReady(end_.Get(), kSecond)) {
            Reap();
        } else if (meanwhile) {
            meanwhile();
        }
    }
    return status_;
}

void Child::End() {
    if (reaped_) return;
    kill(pid_, SIGTERM);
    if (!IsReady(end_.Get(), kGrace)) kill(pid_, SIGKILL);
    Reap();
}

void Child::Reap() {
    // The status of a child reaped elsewhere is unknown; treat it as a failure.
    status_ = AwaitChild(pid_).value_or(W_EXITCODE(EXIT_FAILURE, 0));
    reaped_ = true;
}

std::string Child::Words() const {
    std::string words(kMostWords, '\0');
    const ssize_t n = pread(words_.Get(), words.data(), words.size(), 0);
    words.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return words;
}

std::string StatusInWords(int wait_status) {
    if (WIFSIGNALED(wait_status)) return fmt::format("signal {}", WTERMSIG(wait_status));
    return fmt::format("exit code {}", WEXITSTATUS(wait_status));
}

ssize_t ReadSome(int fd, void *buffer, std::size_t size) {
    for (;;) {
        EndIfStopped();
        if (!IsReady(fd, kSecond)) continue;
        const ssize_t n = read(fd, buffer, size);
        if (n >= 0 || errno != EINTR) return n;
    }
}

}  // namespace zafo::backup
