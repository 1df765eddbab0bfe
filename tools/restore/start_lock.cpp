// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/start_lock.h"

#include "base/appliance_paths.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"

namespace zafo::backup {

StartLock::StartLock() : fd_(OpenLockFile(kStartLockFile)) {
    constexpr std::chrono::seconds kLongestStart{60};
    if (!LockWithin(kLongestStart, fd_.Get()))
        throw JobError(Exit::kServer, "the directory server is still being started");
}

}  // namespace zafo::backup
