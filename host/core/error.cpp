// SPDX-License-Identifier: Apache-2.0
#include "platform/error.h"

#include <atomic>

namespace {
std::atomic<int> g_nCode = QLIB_ERR_NONE;
}

int QLIBCErrSet(int nCode) {
    g_nCode = nCode;
    return nCode;
}

int QLIBCErrGet() {
    return g_nCode;
}
