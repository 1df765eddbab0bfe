// SPDX-License-Identifier: Apache-2.0
//
// The interface between the functions that start a service and its keeper, a separate process. The
// keeper gets the service's name as its argument, and two descriptors.
#pragma once

namespace zafo {

inline constexpr const char *kServiceKeeper = "/usr/zafo/libexec/zafo-service-keeper";

// The keeper writes one platform error code to it (0: the service is up and on record), as a
// decimal number, and closes it.
inline constexpr int kKeeperAnswer = 3;

// The lock on the service's owner record, held by the caller.
inline constexpr int kKeeperLock = 4;

}  // namespace zafo
