// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/job_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr int kTries = 10;
constexpr std::chrono::milliseconds kPause{20};

bool IsTaken(int fd) {
    return flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace

UniqueFd OpenLockFile(const std::string &path) {
    UniqueFd fd(open(path.c_str(),
                     O_RDWR | O_CREAT | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat status {};
    if (!fd.IsOpen() || fstat(fd.Get(), &status) != 0)
        throw SystemError(Exit::kSystem, "cannot open " + path, errno);
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1 ||
        (status.st_uid != 0 && status.st_uid != geteuid()))
        throw JobError(Exit::kSystem, path + " is not a file owned by root: remove it");
    if ((status.st_mode & 077U) != 0) fchmod(fd.Get(), 0600);
    return fd;
}

JobLock::JobLock() : fd_(OpenLockFile(kJobLockFile)) {
    // A process that only checks whether a job is running holds the lock for a moment.
    for (int left = kTries; IsTaken(fd_.Get()); --left) {
        if (left == 0) throw JobError(Exit::kBusy, "another backup or restore is running");
        std::this_thread::sleep_for(kPause);
    }
}

bool JobRuns() {
    const UniqueFd fd(open(kJobLockFile, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    return fd.IsOpen() && IsTaken(fd.Get());
}

}  // namespace zafo::backup
