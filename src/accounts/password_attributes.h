// SPDX-License-Identifier: Apache-2.0
//
// Password attributes of new and changed accounts, in shadow(5) and Samba terms.
#pragma once

#include <ctime>

namespace zafo {

// Buffer sizes, including the final zero.
inline constexpr size_t kHashedPasswordSize = 16384;
inline constexpr size_t kNtHashSize = 33;
inline constexpr size_t kSidSize = 256;

// Replaces the LM hash, which is almost as good as the clear password and never stored.
inline constexpr char kNoLmHash[] = "XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX";

// Days since 1 January 1970.
inline unsigned long DaysOf(time_t t) {
    return static_cast<unsigned long>(t / 86400);
}

// The minimum age, in days, before a user may change the password.
inline int ShadowMin(int disallow_change) {
    return disallow_change == 1 ? 100000 : 0;
}

}  // namespace zafo
