// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/error.h"

namespace zafo {

// The longest DN that the library builds, accepts or returns; a longer one is rejected, never
// truncated.
inline constexpr size_t kMaxDN = 1023;

// Whether a DN is within the limit; sets platform error 0x0E00 if not.
inline bool FitsDN(std::string_view dn) {
    if (dn.size() <= kMaxDN) return true;
    QLIBCErrSet(QLIB_ERR_BUFFER_TOO_SMALL);
    return false;
}

// Buffer for the result of a lookup: a DN, a name or a number. FitsDN holds for all of them; the
// extra byte is how truncation is detected.
using FoundText = char[kMaxDN + 2];

}  // namespace zafo
