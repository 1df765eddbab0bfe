// SPDX-License-Identifier: Apache-2.0
//
// Text into buffers of a given size.
#pragma once

#include <cstddef>
#include <cstring>

namespace zafo {

// Copies `szText` into a buffer of `cbBuf` bytes (at least 1), cut to fit.
inline void CopyText(const char *szText, char *szBuf, size_t cbBuf) {
    const size_t n = strnlen(szText, cbBuf - 1);
    std::memcpy(szBuf, szText, n);
    szBuf[n] = '\0';
}

}  // namespace zafo
