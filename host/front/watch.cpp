// SPDX-License-Identifier: Apache-2.0
//
// Two things a tool does not do by itself. ldapsearch ignores SIGPIPE, so it
// reads the whole answer even when nobody wants it any more. And libldap's time
// limits do not cover the TLS handshake: on a server that accepts and says
// nothing a tool tries again and again, for ever.
#include "host/front/watch.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>

#include "host/front/failure.h"
#include "host/front/text_file.h"

namespace zafo::front {

namespace {

// Silence is measured in that many steps.
constexpr unsigned kSteps = 4;

// The child borrows this process's memory until it has become the tool: a
// process with one thread that waits so long, and system calls only, are what
// vfork allows. posix_spawn cannot ask for the signal.
// NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
pid_t Start(const Command &command, volatile int &failure) {
    const pid_t front = getpid();
    const pid_t child = vfork();
    if (child == 0) {
        // The signal comes only for a parent that dies after the request.
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == front) {
            execve(command.path, command.argv, command.environment);
        }
        failure = errno;
        _exit(kRefused);
    }
    return child;
}
// NOLINTEND(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)

// The bytes that a process has read and written so far, as the kernel words it.
class Traffic {
  public:
    explicit Traffic(pid_t process) {
        constexpr std::string_view kHead = "/proc/";
        std::memcpy(path_, kHead.data(), kHead.size());
        char *end = std::to_chars(path_ + kHead.size(), path_ + sizeof path_ - 4, process).ptr;
        std::memcpy(end, "/io", 4);
    }

    // Whether any byte went in or out since the last call.
    bool Changed() {
        const TextFile file(path_);
        std::string_view rest = file.Text();
        const size_t read_line = TakeField(rest, '\n').size();
        const size_t size = read_line + 1 + TakeField(rest, '\n').size();
        if (size >= sizeof last_ || file.Text().size() < size) return true;
        const bool changed = file.Text().substr(0, size) != std::string_view(last_, size_);
        std::memcpy(last_, file.Text().data(), size);
        size_ = size;
        return changed;
    }

  private:
    char path_[32] = "";
    char last_[96] = "";
    size_t size_ = 0;
};

bool ReaderIsSlow() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 0;
}

enum class Event { kEnd, kReaderGone, kSilence };

Event WaitForEvent(const Tool &tool, pid_t child, int end_of_child, unsigned silence) {
    pollfd events[] = {{end_of_child, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    const nfds_t count = tool.ends_with_reader ? 2 : 1;
    Traffic traffic(child);
    const int step = static_cast<int>(silence * 1000 / kSteps);
    for (unsigned quiet = 0; quiet < kSteps;) {
        const int ready = poll(events, count, step);
        if (ready < 0 && errno != EINTR) return Event::kSilence;
        if (ready > 0 && events[0].revents != 0) return Event::kEnd;
        if (ready > 0) return Event::kReaderGone;
        if (ready == 0) quiet = traffic.Changed() || ReaderIsSlow() ? 0 : quiet + 1;
    }
    return Event::kSilence;
}

int Reap(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

int KillAndReap(pid_t child) {
    kill(child, SIGKILL);
    return Reap(child);
}

// A core file of a process that has held a password is not wanted.
[[noreturn]] void DieOf(int number) {
    prctl(PR_SET_DUMPABLE, 0);
    signal(number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(number);
    _exit(128 + number);
}

}  // namespace

void RunWatched(const Tool &tool, const Command &command, unsigned silence) {
    // Somebody's ignored SIGCHLD would take the exit code away.
    signal(SIGCHLD, SIG_DFL);
    volatile int failure = 0;
    const pid_t child = Start(command, failure);
    if (child < 0) Fail(kRefused, "cannot start", errno);
    if (failure != 0) {
        const int error = failure;
        Reap(child);
        Fail(kRefused, command.path, error);
    }
    const auto end_of_child = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    if (end_of_child < 0) {
        const int error = errno;
        KillAndReap(child);
        Fail(kRefused, "cannot watch the tool", error);
    }
    int status = 0;
    switch (WaitForEvent(tool, child, end_of_child, silence)) {
        case Event::kEnd:
            status = Reap(child);
            break;
        case Event::kReaderGone:
            KillAndReap(child);
            DieOf(SIGPIPE);
        case Event::kSilence:
            KillAndReap(child);
            Fail(kRefused, "no answer from the server");
    }
    if (WIFSIGNALED(status)) DieOf(WTERMSIG(status));
    _exit(WEXITSTATUS(status));
}

}  // namespace zafo::front
