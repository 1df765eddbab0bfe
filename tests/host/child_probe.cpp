// SPDX-License-Identifier: Apache-2.0
//
// A child that reports how it was started, one line each: its arguments, its open descriptors and
// what they refer to, and the signals that it blocks and ignores.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

std::string Target(int fd) {
    char target[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t n = readlink(link.c_str(), target, sizeof target);
    return n < 0 ? "?" : std::string(target, static_cast<size_t>(n));
}

}  // namespace

int main(int argc, char **argv) {
    for (int i = 0; i < argc; ++i)
        std::printf("arg %s\n", argv[i]);
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) continue;
        const std::string target = Target(fd);
        std::printf("fd %d %s\n", fd, target.starts_with("pipe:") ? "pipe" : target.c_str());
    }
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        if (sigismember(&blocked, signal) == 1) std::printf("blocked %d\n", signal);
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            std::printf("ignored %d\n", signal);
        }
    }
}
