// SPDX-License-Identifier: Apache-2.0
//
// How a platform function reports failure: a code in the error slot and the function's failure
// value. No exception leaves a platform function.
#pragma once

#include <new>

#include "base/whole_file.h"
#include "platform/error.h"

namespace zafo {

inline int Fail(int code) {
    QLIBCErrSet(code);
    return -1;
}

inline int FailZero(int code) {
    QLIBCErrSet(code);
    return 0;
}

inline std::nullptr_t FailNull(int code) {
    QLIBCErrSet(code);
    return nullptr;
}

// The result of a function whose work ended with that code; QLIB_ERR_NONE is success.
inline int ResultOf(int code) {
    return code == QLIB_ERR_NONE ? 0 : Fail(code);
}

inline int ErrorOf(ReadResult result) {
    if (result == ReadResult::kDone) return QLIB_ERR_NONE;
    return result == ReadResult::kReadFailed ? QLIB_ERR_READ_FAILED : QLIB_ERR_OPEN_FAILED;
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
