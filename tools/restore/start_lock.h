// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

namespace zafo::backup {

// Prevents directory servers from being started: the start program holds the same lock for its
// whole run. Never held while the service is started or stopped, which would deadlock.
class StartLock {
  public:
    // Waits for a start in progress. Throws JobError kServer when that does not finish.
    StartLock();

  private:
    UniqueFd fd_;
};

}  // namespace zafo::backup
