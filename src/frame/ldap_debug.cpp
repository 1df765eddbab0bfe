// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include "src/frame/own_file.h"
#include "zafoldap/debug.h"

namespace {

constexpr const char *kFolder = "/tmp";
constexpr const char *kMarkerFile = "/tmp/zafoldap_debug";
constexpr int kUnknown = -1;

int g_debug = kUnknown;

// With the switch on, the log shows new passwords: it is for root to throw, or for the user
// whose process this is. One look decides, so there is nothing to exchange between two; the file
// is not opened, so there is nothing to wait for.
bool IsThrown() {
    struct stat folder {
    }, marker{};
    if (stat(kFolder, &folder) != 0 || !zafo::KeepsNames(folder)) return false;
    if (lstat(kMarkerFile, &marker) != 0 || !zafo::IsOwnFile(marker)) return false;
    return access(kMarkerFile, R_OK) == 0;
}

}  // namespace

int ZAFOLDAPDebugEnabled() {
    if (g_debug == kUnknown) g_debug = IsThrown() ? 1 : 0;
    return g_debug;
}
