// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <syslog.h>

namespace zafo {

// Logs why an account is not created, which an error code cannot tell, and returns the code.
inline int Refuse(const char *kind, const char *name, const char *reason, int error) {
    syslog(LOG_ERR, "local %s [%s] refused: %s\n", kind, name == nullptr ? "" : name, reason);
    return error;
}

}  // namespace zafo
