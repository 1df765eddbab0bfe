// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/job_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{20};
// A process that only checks whether a job is running holds the lock for a moment.
constexpr std::chrono::milliseconds kLongestLook{200};

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

bool LockWithin(std::chrono::milliseconds limit, int fd) {
    const auto end = steady_clock::now() + limit;
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            throw SystemError(Exit::kSystem, "cannot lock a file", errno);
        if (steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

JobLock::JobLock() : fd_(OpenLockFile(kJobLockFile)) {
    if (!LockWithin(kLongestLook, fd_.Get()))
        throw JobError(Exit::kBusy, "another backup or restore is running");
}

bool JobRuns() {
    const UniqueFd fd(open(kJobLockFile, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    return fd.IsOpen() && flock(fd.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace zafo::backup
