// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/job_lock.h"

#include "tools/backup/problem.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace zafo::backup {

namespace {

constexpr int kTries = 10;
constexpr std::chrono::milliseconds kPause{20};

bool IsTaken(int fd) {
    return flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace

JobLock::JobLock()
    : fd_(open(kJobLockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, 0600)) {
    if (!fd_.IsOpen())
        throw SystemProblem(Exit::kSystem, std::string("cannot open ") + kJobLockFile, errno);
    // Whoever only asks whether a job runs holds the lock for a moment.
    for (int left = kTries; IsTaken(fd_.Get()); --left) {
        if (left == 0) throw Problem(Exit::kBusy, "another backup or restore runs");
        std::this_thread::sleep_for(kPause);
    }
}

bool JobRuns() {
    const UniqueFd fd(open(kJobLockFile, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    return fd.IsOpen() && IsTaken(fd.Get());
}

}  // namespace zafo::backup
