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

// The debug log shows new passwords, so only root or the process's own user may turn it on. A
// single lstat decides, which leaves no gap to swap the file in; the file is never opened, so a
// FIFO cannot block us.
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
