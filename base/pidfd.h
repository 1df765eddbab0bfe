// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "base/unique_fd.h"

namespace zafo {

// Refers to this process even if its number is reused, and polls readable once it has ended. Not
// open, with errno set, on failure.
inline UniqueFd OpenPidfd(pid_t pid) {
    return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

}  // namespace zafo
