// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/unique_fd.h"

namespace zafo::backup {

inline constexpr const char *kJobLockFile = "/var/run/zafoldapbackup.lock";

// Opens a file that is there to be locked, and makes it when it is missing, for its owner alone: who can open it can
// hold it. Throws JobError kSystem when it cannot be had, or is not a file of root's or the effective user's.
UniqueFd OpenLockFile(const std::string &path);

// The right to make a backup or to restore one: one process at a time. The lock is the process's
// own and goes with it, however it ends; its children do not have it.
class JobLock {
  public:
    // Throws JobError: kBusy when another process works, kSystem when the file cannot be had.
    JobLock();

  private:
    UniqueFd fd_;
};

// Whether a job holds the lock now.
bool JobRuns();

}  // namespace zafo::backup
