// SPDX-License-Identifier: Apache-2.0
//
// How a platform function reports failure: a code in the error slot and the function's failure
// value. No exception leaves a platform function.
#pragma once

#include <new>

#include "platform/error.h"

namespace zafo {

inline int Fail(int nCode) {
    QLIBCErrSet(nCode);
    return -1;
}

inline std::nullptr_t FailNull(int nCode) {
    QLIBCErrSet(nCode);
    return nullptr;
}

// Runs `body`; std::bad_alloc becomes 0x0200 and `failure`.
template <typename Result, typename Body>
Result OutOfMemoryIs(Result failure, Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return failure;
    }
}

}  // namespace zafo
