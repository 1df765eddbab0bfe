// SPDX-License-Identifier: Apache-2.0
//
// Diagnostics and failed argument checks, as every layer writes them.
#pragma once

#include <syslog.h>

#include "zafoldap/debug.h"

// One line to the system log: "FILE:LINE " and the text.
#define ZAFO_LOG(format, ...) \
    syslog(LOG_ERR, "%s:%d " format, __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// The same while the debug switch is on.
#define ZAFO_DEBUG_LOG(...)                                     \
    do {                                                        \
        if (ZAFOLDAPDebugEnabled() != 0) ZAFO_LOG(__VA_ARGS__); \
    } while (false)

// Reports a failed argument check; its value is -1. The condition is data: it
// is the text that the log has always shown, not necessarily what was compiled.
//
//     if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
#define ZAFO_BAD_ARGUMENT(condition) ::zafo::BadArgument(__FILE_NAME__, __LINE__, condition)

namespace zafo {

int BadArgument(const char *file, int line, const char *condition);

// The platform's error slot, as log lines print it with "[0x%04X]".
unsigned int PlatformError();

// The library's error slot, as they print it with "%s (%d)" and the code.
const char *ErrorKey();

}  // namespace zafo
