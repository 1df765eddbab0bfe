// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

namespace zafo {

// The right to change "/etc/passwd", "/etc/shadow", "/etc/group" and "/etc/gshadow": the lock of
// lckpwdf(3), which useradd(8) and its kin, passwd(1) and vipw(8) take too. lckpwdf itself is no use
// here: its lock belongs to the process, so two threads would both get it, and it waits by an alarm
// that is the caller's. It is waited for as long as lckpwdf does, 15 seconds.
class AccountLock {
  public:
    AccountLock();
    bool IsHeld() const { return file_.IsOpen(); }

  private:
    UniqueFd file_;
};

}  // namespace zafo
