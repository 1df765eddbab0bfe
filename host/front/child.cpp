// SPDX-License-Identifier: Apache-2.0
#include "host/front/child.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "base/pidfd.h"
#include "host/front/failure.h"

namespace zafo::front {

namespace {

// The child shares this process's memory until it becomes the tool: vfork allows that because this
// process has one thread, which waits, and the child makes only system calls. posix_spawn cannot
// ask for the signal.
// NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
pid_t Start(const Command &command, const Ends &ends, volatile int &failure) {
    const pid_t front = getpid();
    rlimit memory{};
    const bool bounded = command.memory != RLIM_INFINITY && getrlimit(RLIMIT_DATA, &memory) == 0;
    memory.rlim_max = std::min(memory.rlim_max, command.memory);
    memory.rlim_cur = memory.rlim_max;
    const pid_t child = vfork();
    if (child == 0) {
        // The signal is sent only if the parent dies after the request.
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == front &&
            (!bounded || setrlimit(RLIMIT_DATA, &memory) == 0) &&
            (ends.output < 0 || dup2(ends.output, STDOUT_FILENO) == STDOUT_FILENO) &&
            (ends.errors < 0 || dup2(ends.errors, STDERR_FILENO) == STDERR_FILENO)) {
            execve(command.path, command.argv, command.environment);
        }
        failure = errno;
        _exit(kRefused);
    }
    return child;
}
// NOLINTEND(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)

}  // namespace

pid_t StartChild(const Command &command, const Ends &ends) {
    // An inherited, ignored SIGCHLD would lose the exit code.
    signal(SIGCHLD, SIG_DFL);
    volatile int failure = 0;
    const pid_t child = Start(command, ends, failure);
    if (child < 0) Fail(kRefused, "cannot start", errno);
    if (failure != 0) {
        const int error = failure;
        Reap(child);
        Fail(kRefused, command.path, error);
    }
    return child;
}

int WatchEnd(pid_t child) {
    UniqueFd end_of_child = OpenPidfd(child);
    if (!end_of_child.IsOpen()) {
        const int error = errno;
        KillAndReap(child);
        Fail(kRefused, "cannot watch the tool", error);
    }
    return end_of_child.Release();
}

int Reap(pid_t child, rusage *usage) {
    int status = 0;
    while (wait4(child, &status, 0, usage) < 0 && errno == EINTR) {
    }
    return status;
}

int KillAndReap(pid_t child) {
    kill(child, SIGKILL);
    return Reap(child);
}

void EndAs(int status) {
    if (WIFSIGNALED(status)) DieOf(WTERMSIG(status));
    _exit(WEXITSTATUS(status));
}

void DieOf(int number) {
    // No core file of a process that has held a password.
    prctl(PR_SET_DUMPABLE, 0);
    signal(number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(number);
    _exit(128 + number);
}

}  // namespace zafo::front
