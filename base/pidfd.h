// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace zafo {

// Stands for one process whatever becomes of its number, and is readable when that has ended.
// Closed, with errno, when there is none to be had.
inline UniqueFd OpenPidfd(pid_t pid) {
    return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

}  // namespace zafo
