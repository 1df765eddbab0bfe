// SPDX-License-Identifier: Apache-2.0
//
// What the functions that start a service and its keeper, a process of its own, say to each other.
// The keeper is told the service's name as its argument and gets two descriptors.
#pragma once

namespace zafo {

inline constexpr const char *kServiceKeeper = "/usr/zafo/libexec/zafo-service-keeper";

// The keeper writes one platform error code there (0: the service serves and is on record), as a
// number in text, and closes it.
inline constexpr int kKeeperAnswer = 3;

// The lock on the service's owner record, which the caller holds.
inline constexpr int kKeeperLock = 4;

}  // namespace zafo
