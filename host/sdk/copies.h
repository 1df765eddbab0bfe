// SPDX-License-Identifier: Apache-2.0
//
// The texts of account records, as copies on the heap.
#pragma once

#include <cstring>
#include <new>

namespace zafo {

// A copy for free(); NULL stays NULL.
inline char *CopyOf(const char *szText) {
    if (szText == nullptr) return nullptr;
    char *szCopy = strdup(szText);
    if (szCopy == nullptr) throw std::bad_alloc();
    return szCopy;
}

}  // namespace zafo
