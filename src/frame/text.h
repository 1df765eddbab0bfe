// SPDX-License-Identifier: Apache-2.0
//
// Texts in buffers of a given size.
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

// The result of a function that has written a text into a buffer; the text ends in the buffer, also
// when the function filled it to its last byte.
template <size_t N>
int Ended(char (&szBuf)[N], int nResult) {
    szBuf[N - 1] = '\0';
    return nResult;
}

}  // namespace zafo
