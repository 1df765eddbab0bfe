// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

namespace zafo::backup {

// While it is held no directory server is started: its start program holds the same lock from its
// beginning to its end. Never held while the service is started or stopped, which would wait for it.
class StartLock {
  public:
    // Waits for a start that is going on. Throws JobError kServer when that does not end.
    StartLock();

  private:
    UniqueFd fd_;
};

}  // namespace zafo::backup
