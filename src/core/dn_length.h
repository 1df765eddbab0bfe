// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/error.h"

namespace zafo {

// Longest DN that the library makes, is given or finds; a longer one is refused, never cut.
inline constexpr size_t kMaxDN = 1023;

// Whether a DN is no longer than that; sets platform error 0x0E00 when it is.
inline bool FitsDN(std::string_view dn) {
    if (dn.size() <= kMaxDN) return true;
    QLIBCErrSet(QLIB_ERR_BUFFER_TOO_SMALL);
    return false;
}

// Buffer for what a lookup finds: a DN, a name, a number. FitsDN holds for all of them; the buffer
// has room for one byte more, so that it tells what was cut.
using FoundText = char[kMaxDN + 2];

}  // namespace zafo
