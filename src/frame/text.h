// SPDX-License-Identifier: Apache-2.0
//
// Texts in buffers of a given size.
#pragma once

#include <cstddef>
#include <cstring>

namespace zafo {

// Copies `text` into a buffer of `size` bytes (at least 1), cut to fit.
inline void CopyText(const char *text, char *buffer, size_t size) {
    const size_t n = strnlen(text, size - 1);
    std::memcpy(buffer, text, n);
    buffer[n] = '\0';
}

// The result of a function that has written a text into a buffer; the text ends in the buffer, also
// when the function filled it to its last byte.
template <size_t N>
int Ended(char (&buffer)[N], int result) {
    buffer[N - 1] = '\0';
    return result;
}

}  // namespace zafo
