// SPDX-License-Identifier: Apache-2.0
#include "zafoldap/debug.h"

#include <unistd.h>

namespace {

constexpr const char *kMarkerFile = "/tmp/zafoldap_debug";
constexpr int kUnknown = -1;

int g_nDebug = kUnknown;

}  // namespace

int ZAFOLDAPDebugEnabled() {
    if (g_nDebug == kUnknown) g_nDebug = access(kMarkerFile, R_OK) == 0 ? 1 : 0;
    return g_nDebug;
}
