// SPDX-License-Identifier: Apache-2.0
//
// Mounts the export of home folders with mount(8), under a name unique to this process.
#include "src/accounts/ldap_mount.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/error.h"
#include "platform/fs.h"
#include "platform/process.h"
#include "src/accounts/nfs_source.h"
#include "src/frame/log.h"

namespace {

constexpr const char *kMountTool = "/bin/mount";
constexpr const char *kUnmountTool = "/bin/umount";

// Anyone who can write to the directory controls the text that root mounts. The text is not logged:
// it may contain line breaks.
bool IsNfs(const char *home_path) {
    const char *fault = zafo::FaultOfNfsSource(home_path);
    if (fault == nullptr) return true;
    QLIBCErrSet(QLIB_ERR_BAD_ARGUMENT);
    ZAFO_LOG("nfs mount refused: %s. [0x%04X]", fault, zafo::PlatformError());
    return false;
}

}  // namespace

namespace zafo {

MountPoint::MountPoint() {
    snprintf(path_, sizeof path_, "/zafoldaphomefolder.%u", static_cast<unsigned>(getpid()));
}

bool IsFolderName(const char *name) {
    return name != nullptr && name[0] != '\0' && std::strcmp(name, ".") != 0 &&
           std::strcmp(name, "..") != 0 && std::strchr(name, '/') == nullptr;
}

std::string HomeFolder(const char *name) {
    return std::string(MountPoint().path()) + "/" + name;
}

}  // namespace zafo

int ZAFOLDAPNFSMount(const char *home_path) {
    if (home_path == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHomePath");
    if (!IsNfs(home_path)) return -1;

    const zafo::MountPoint point;
    if (ZAFOFSMkdirP(point.path(), 0, 1, 0, 0, 0700) < 0) {
        return ZAFO_FAILURE("mkdir %s failed. [0x%04X]", point.path(), zafo::PlatformError());
    }
    // The form HOST:PATH makes mount(8) choose NFS.
    if (QLIBCExec(kMountTool, home_path, point.path(), nullptr, nullptr) != 0) {
        ZAFO_LOG("mount %s to %s failed. [0x%04X]", home_path, point.path(), zafo::PlatformError());
        rmdir(point.path());
        return -1;
    }
    return 0;
}

int ZAFOLDAPNFSUMount(void) {
    const zafo::MountPoint point;
    if (QLIBCExec(kUnmountTool, point.path(), nullptr, nullptr, nullptr) < 0) {
        return ZAFO_FAILURE("umount [%s] failed. [0x%04X]", point.path(), zafo::PlatformError());
    }
    // rmdir removes only an empty folder: one that is still a mount point stays.
    if (rmdir(point.path()) != 0) return ZAFO_FAILURE("rmdir %s failed.", point.path());
    return 0;
}
