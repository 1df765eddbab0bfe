// SPDX-License-Identifier: Apache-2.0
//
// The C boundary: no exception leaves an exported function.
#pragma once

#include <syslog.h>

#include <exception>

#include "platform/error.h"
#include "src/frame/log.h"

namespace zafo {

// Returns the result of `body`, or `failure` if it throws. The library's own code throws only when
// out of memory, so every exception is reported as that.
template <class Result, class Body>
Result Guarded(Result failure, const Body &body) noexcept {
    try {
        return body();
    } catch (const std::exception &) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return failure;
    }
}

// The same with -1 as the failure value, and a log line for the given source location.
template <class Body>
int GuardedAloud(const char *file, int line, const Body &body) noexcept {
    try {
        return body();
    } catch (const std::exception &) {
        syslog(LOG_ERR, "%s:%d out of memory", file, line);
        return FailWith(QLIB_ERR_OUT_OF_MEMORY);
    }
}

}  // namespace zafo
