// SPDX-License-Identifier: Apache-2.0
//
// What new and changed accounts say about passwords, in shadow(5) and Samba terms.
#pragma once

#include <ctime>

namespace zafo {

// Bytes of texts with their final zero.
inline constexpr size_t kHashedPasswordSize = 16384;
inline constexpr size_t kNtHashSize = 33;
inline constexpr size_t kSidSize = 256;

// In the place of the LM hash, which is almost the password in clear and never stored.
inline constexpr char kNoLmHash[] = "XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX";

// Days since 1 January 1970.
inline unsigned long DaysOf(time_t t) {
    return static_cast<unsigned long>(t / 86400);
}

// The age in days that a password must have to be changed by its user.
inline int ShadowMin(int disallow_change) {
    return disallow_change == 1 ? 100000 : 0;
}

}  // namespace zafo
