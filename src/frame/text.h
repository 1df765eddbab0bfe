// SPDX-License-Identifier: Apache-2.0
//
// Text in fixed-size buffers.
#pragma once

#include <cstddef>
#include <cstring>

namespace zafo {

// Copies `text` into a buffer of `size` bytes (at least 1), truncating it to fit.
inline void CopyText(const char *text, char *buffer, size_t size) {
    const size_t n = strnlen(text, size - 1);
    std::memcpy(buffer, text, n);
    buffer[n] = '\0';
}

// Passes on the result of a function that wrote text into `buffer`, and terminates the text even if
// the function filled the buffer to its last byte.
template <size_t N>
int Ended(char (&buffer)[N], int result) {
    buffer[N - 1] = '\0';
    return result;
}

}  // namespace zafo
