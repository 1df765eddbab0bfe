// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

namespace zafo {

// The lock for changing "/etc/passwd", "/etc/shadow", "/etc/group" and "/etc/gshadow": that of
// lckpwdf(3), which useradd(8) and its kin, passwd(1) and vipw(8) take, too. lckpwdf itself is
// unsuitable: its lock belongs to the process, so two threads would both get it, and it waits using
// the caller's alarm. Like lckpwdf, waits for 15 seconds.
class AccountLock {
  public:
    AccountLock();
    bool IsHeld() const { return file_.IsOpen(); }

  private:
    UniqueFd file_;
};

}  // namespace zafo
