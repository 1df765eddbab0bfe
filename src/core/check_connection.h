// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "src/frame/log.h"
#include "zafoldap/host.h"

namespace zafo {

// Whether a caller's connection is usable: the record and its address are not NULL. Otherwise
// reports a failed argument check under the given source location.
inline bool IsConnection(const ZAFOLDAP_HOST *host, const char *file, int line = __builtin_LINE()) {
    if (host != nullptr && host->szUri != nullptr) return true;
    BadArgument(file, line, host == nullptr ? "((void *)0) != pHost" : "NULL != pHost->szUri");
    return false;
}

// The same for a function that also needs the base DN, or the login suffix.
inline bool HasBaseDN(const ZAFOLDAP_HOST *host, const char *file, int line = __builtin_LINE()) {
    if (!IsConnection(host, file, line)) return false;
    return host->szBaseDN != nullptr ||
           BadArgument(file, line, "((void *)0) != pHost->szBaseDN") == 0;
}

inline bool HasLoginSuffix(const ZAFOLDAP_HOST *host, const char *file,
                           int line = __builtin_LINE()) {
    if (!IsConnection(host, file, line)) return false;
    return host->szLoginSuffix != nullptr ||
           BadArgument(file, line, "NULL != pHost->szLoginSuffix") == 0;
}

}  // namespace zafo
