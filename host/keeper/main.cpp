// SPDX-License-Identifier: Apache-2.0
//
// zafo-service-keeper NAME: started by QLIBServiceStart for a service whose description says
// "restart = yes". Ends when the service has ended normally, was stopped or has another keeper. A
// signal that ends the keeper ends nothing else: the service continues without one.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "host/core/service_description.h"
#include "host/core/service_keeper.h"
#include "host/keeper/keeper.h"
#include "platform/error.h"

namespace {

using zafo::UniqueFd;

constexpr int kUsage = 2;

UniqueFd TakeOver(int fd) {
    return UniqueFd(fcntl(fd, F_SETFD, FD_CLOEXEC) == 0 ? fd : -1);
}

// From here on nobody reads what this process or its service writes, and no terminal can end it.
void LeaveCaller() {
    const UniqueFd null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(null.Get(), fd);
}

int Run(const std::string &name, UniqueFd answer, UniqueFd lock) {
    openlog("zafo-service-keeper", LOG_PID, LOG_DAEMON);
    zafo::Keeper keeper(name);
    const bool can_keep = prctl(PR_SET_CHILD_SUBREAPER, 1) == 0;
    const int error = can_keep ? keeper.StartFirst(std::move(lock)) : QLIB_ERR_SERVICE_START;
    LeaveCaller();
    dprintf(answer.Get(), "%d\n", error);
    answer.Reset(-1);
    if (error != 0) return 1;
    keeper.Keep();
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    UniqueFd answer = TakeOver(zafo::kKeeperAnswer);
    UniqueFd lock = TakeOver(zafo::kKeeperLock);
    if (argc != 2 || !zafo::IsServiceName(argv[1]) || !answer.IsOpen() || !lock.IsOpen()) {
        std::fputs("zafo-service-keeper: runs only with a service, not by hand\n", stderr);
        return kUsage;
    }
    // The caller waits for this process only; the one that stays is orphaned.
    const pid_t stays = fork();
    if (stays != 0) return stays > 0 ? 0 : 1;
    setsid();
    umask(022);
    // A caller may be gone before it gets its answer.
    signal(SIGPIPE, SIG_IGN);
    try {
        return Run(argv[1], std::move(answer), std::move(lock));
    } catch (const std::bad_alloc &) {
        syslog(LOG_ERR, "the service %s is no longer supervised: out of memory", argv[1]);
        return 1;
    }
}
