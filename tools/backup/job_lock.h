// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "base/unique_fd.h"

namespace zafo::backup {

inline constexpr const char *kJobLockFile = "/var/run/zafoldapbackup.lock";

// Opens a lock file, created if missing, accessible to its owner only: anyone who can open it can
// hold the lock. Throws JobError kSystem when that fails, or when it is not a regular file of
// root's or the effective user's.
UniqueFd OpenLockFile(const std::string &path);

// Takes the lock on a file; false if another process holds it for that long. Throws JobError
// kSystem.
bool LockWithin(std::chrono::milliseconds limit, int fd);

// The right to run a backup or restore: one process at a time. The process owns the lock, so it is
// released however the process ends; children do not inherit it.
class JobLock {
  public:
    // Throws JobError: kBusy when another process is working, kSystem when the file cannot be
    // opened.
    JobLock();

  private:
    UniqueFd fd_;
};

// Whether a job holds the lock now.
bool JobRuns();

}  // namespace zafo::backup
