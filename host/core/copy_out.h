// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "host/core/fail.h"

namespace zafo {

// Copies a result to a caller's buffer. Returns 0, or -1 with 0x0E00 and the buffer unchanged if it
// does not fit.
inline int CopyOut(std::string_view text, char *buffer, size_t size) {
    if (text.size() >= size) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
    text.copy(buffer, text.size());
    buffer[text.size()] = '\0';
    return 0;
}

}  // namespace zafo
