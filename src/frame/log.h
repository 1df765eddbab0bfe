// SPDX-License-Identifier: Apache-2.0
//
// Diagnostics and failed argument checks, in the format that every layer uses.
#pragma once

#include <syslog.h>

#include "zafoldap/debug.h"

// Logs one line to the system log: "FILE:LINE " and the text.
#define ZAFO_LOG(format, ...) \
    syslog(LOG_ERR, "%s:%d " format, __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// The same, but only while the debug switch is on.
#define ZAFO_DEBUG_LOG(...) (ZAFOLDAPDebugEnabled() != 0 ? ZAFO_LOG(__VA_ARGS__) : void())

// Both also as expressions with the value -1, the result of a failed call.
//
//     if (rename(from, to) != 0) return ZAFO_FAILURE("rename %s failed.", from);
#define ZAFO_FAILURE(...) (ZAFO_LOG(__VA_ARGS__), -1)
#define ZAFO_DEBUG_FAILURE(...) (ZAFO_DEBUG_LOG(__VA_ARGS__), -1)

// Reports a failed argument check and evaluates to -1. The condition is data: the text that the log
// has always shown, not necessarily the code that was compiled.
//
//     if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
#define ZAFO_BAD_ARGUMENT(condition) ::zafo::BadArgument(__FILE_NAME__, __LINE__, condition)

namespace zafo {

int BadArgument(const char *file, int line, const char *condition);

// Sets the platform's error slot; returns -1.
int FailWith(int platform_error);

// The platform's error slot, for log lines with "[0x%04X]".
unsigned int PlatformError();

// The library's error slot, for log lines with "%s (%d)", followed by the code.
const char *ErrorKey();

}  // namespace zafo
