// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/child.h"

#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace zafo::backup {

namespace {

constexpr std::size_t kMostWords = 4096;
// How long one waits before one looks again whether the job is to end: a signal that comes right
// before the waiting begins interrupts nothing.
constexpr int kSecond = 1000;
constexpr int kGrace = 2000;
constexpr int kPipeBytes = 1 << 20;

// What posix_spawn(3) is told, freed on every path.
class SpawnPlan {
  public:
    SpawnPlan() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        // Of its own, so that a Ctrl-C reaches the job only, which ends its children in good order.
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnPlan(const SpawnPlan &) = delete;
    SpawnPlan &operator=(const SpawnPlan &) = delete;

    // Opens "/dev/null" where there is no descriptor.
    void Connect(int fd, int as, int flags) {
        if (fd >= 0) {
            posix_spawn_file_actions_adddup2(&actions_, fd, as);
        } else {
            posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", flags, 0);
        }
    }

    pid_t Start(const std::vector<std::string> &argv) const {
        static const std::array<const char *, 3> kEnvironment = {
            "PATH=/usr/zafo/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", nullptr};
        std::vector<char *> pointers;
        for (const std::string &argument : argv)
            pointers.push_back(const_cast<char *>(argument.c_str()));
        pointers.push_back(nullptr);
        pid_t pid = -1;
        const int reason = posix_spawn(&pid, pointers[0], &actions_, &attributes_, pointers.data(),
                                       const_cast<char *const *>(kEnvironment.data()));
        if (reason != 0) throw SystemError(Exit::kSystem, "cannot start " + argv[0], reason);
        return pid;
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

bool IsReady(int fd, int milliseconds) {
    pollfd event{fd, POLLIN, 0};
    return poll(&event, 1, milliseconds) > 0;
}

}  // namespace

Pipe MakePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw SystemError(Exit::kSystem, "cannot make a pipe", errno);
    Pipe pipe{UniqueFd(ends[0]), UniqueFd(ends[1])};
    fcntl(ends[0], F_SETPIPE_SZ,
          kPipeBytes);  // fewer switches between the two; no matter if refused
    return pipe;
}

Child::Child(const ChildSpec &spec) : words_(memfd_create("words", MFD_CLOEXEC)) {
    if (!words_.IsOpen()) throw SystemError(Exit::kSystem, "cannot start " + spec.argv[0], errno);
    SpawnPlan plan;
    plan.Connect(spec.input, STDIN_FILENO, O_RDONLY);
    plan.Connect(spec.output, STDOUT_FILENO, O_WRONLY);
    plan.Connect(words_.Get(), STDERR_FILENO, O_WRONLY);
    pid_ = plan.Start(spec.argv);
    end_.Reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
    if (end_.IsOpen()) return;
    // Without it nobody would ever see the child's end.
    const int reason = errno;
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
    pid_t reaped = -1;
    while ((reaped = waitpid(pid_, &status_, 0)) < 0 && errno == EINTR) {
    }
    // Of a child that somebody else has reaped nothing is known: that is no success.
    if (reaped != pid_) status_ = W_EXITCODE(EXIT_FAILURE, 0);
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

bool WriteAll(int fd, const void *bytes, std::size_t size) {
    const auto *from = static_cast<const char *>(bytes);
    while (size > 0) {
        const ssize_t n = write(fd, from, size);
        if (n < 0 && errno == EINTR) {
            EndIfStopped();
        } else if (n < 0) {
            return false;
        } else {
            from += n;
            size -= static_cast<std::size_t>(n);
        }
    }
    return true;
}

}  // namespace zafo::backup
