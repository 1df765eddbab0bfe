// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/start_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "tools/backup/job_lock.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/places.h"

namespace zafo::backup {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestStart{60};
constexpr std::chrono::milliseconds kStep{20};

}  // namespace

StartLock::StartLock() : fd_(OpenLockFile(kStartLockFile)) {
    const std::string path = kStartLockFile;
    const auto end = steady_clock::now() + kLongestStart;
    while (flock(fd_.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) throw RootError("cannot lock " + path, errno);
        if (steady_clock::now() >= end)
            throw JobError(Exit::kServer, "the directory server is still being started");
        std::this_thread::sleep_for(kStep);
    }
}

}  // namespace zafo::backup
