// SPDX-License-Identifier: Apache-2.0
#include "platform/error.h"

#include <atomic>

namespace {
std::atomic<int> g_code = QLIB_ERR_NONE;
}

int QLIBCErrSet(int code) {
    g_code = code;
    return code;
}

int QLIBCErrGet() {
    return g_code;
}
