// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "src/frame/log.h"
#include "zafoldap/host.h"

namespace zafo {

// Whether a caller's connection can be used at all: the record and its address are there. A failed
// argument check is reported as of that place of a file.
inline bool IsConnection(const ZAFOLDAP_HOST *host, const char *file, int line = __builtin_LINE()) {
    if (host != nullptr && host->szUri != nullptr) return true;
    BadArgument(file, line, host == nullptr ? "((void *)0) != pHost" : "NULL != pHost->szUri");
    return false;
}

}  // namespace zafo
