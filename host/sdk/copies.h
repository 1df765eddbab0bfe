// SPDX-License-Identifier: Apache-2.0
//
// The texts of account records, as copies on the heap.
#pragma once

#include <cstring>
#include <new>

namespace zafo {

// A copy for free(); NULL stays NULL.
inline char *CopyOf(const char *text) {
    if (text == nullptr) return nullptr;
    char *copy = strdup(text);
    if (copy == nullptr) throw std::bad_alloc();
    return copy;
}

}  // namespace zafo
