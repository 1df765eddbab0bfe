// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <syslog.h>

namespace zafo {

// Says in the system log why an account is not made, which an error code does not tell, and gives
// the code.
inline int Refuse(const char *kind, const char *name, const char *reason, int error) {
    syslog(LOG_ERR, "local %s [%s] refused: %s\n", kind, name == nullptr ? "" : name, reason);
    return error;
}

}  // namespace zafo
