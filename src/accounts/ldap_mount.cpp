// SPDX-License-Identifier: Apache-2.0
//
// The export of home folders, mounted by mount(8) under a name of this process.
#include "accounts/ldap_mount.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "accounts/nfs_source.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/fs.h"
#include "platform/process.h"

namespace {

constexpr const char *kMountTool = "/bin/mount";
constexpr const char *kUnmountTool = "/bin/umount";

// Whoever may write to the directory chooses the text; root mounts it. It stays out of the log: it
// may hold lines of its own.
bool IsNfs(const char *szHomePath) {
    const char *szFault = zafo::FaultOfNfsSource(szHomePath);
    if (szFault == nullptr) return true;
    QLIBCErrSet(QLIB_ERR_BAD_ARGUMENT);
    ZAFO_LOG("nfs mount refused: %s. [0x%04X]", szFault, zafo::PlatformError());
    return false;
}

}  // namespace

namespace zafo {

MountPoint::MountPoint() {
    snprintf(szPath_, sizeof szPath_, "/zafoldaphomefolder.%u", static_cast<unsigned>(getpid()));
}

bool IsFolderName(const char *szName) {
    return szName != nullptr && szName[0] != '\0' && std::strcmp(szName, ".") != 0 &&
           std::strcmp(szName, "..") != 0 && std::strchr(szName, '/') == nullptr;
}

std::string HomeFolder(const char *szName) {
    return std::string(MountPoint().path()) + "/" + szName;
}

}  // namespace zafo

int ZAFOLDAPNFSMount(const char *szHomePath) {
    if (szHomePath == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHomePath");
    if (!IsNfs(szHomePath)) return -1;

    const zafo::MountPoint point;
    if (ZAFOFSMkdirP(point.path(), 0, 1, 0, 0, 0700) < 0) {
        ZAFO_LOG("mkdir %s failed. [0x%04X]", point.path(), zafo::PlatformError());
        return -1;
    }
    // The form HOST:PATH makes mount(8) choose NFS.
    if (QLIBCExec(kMountTool, szHomePath, point.path(), nullptr, nullptr) != 0) {
        ZAFO_LOG("mount %s to %s failed. [0x%04X]", szHomePath, point.path(),
                 zafo::PlatformError());
        rmdir(point.path());
        return -1;
    }
    return 0;
}

int ZAFOLDAPNFSUMount(void) {
    const zafo::MountPoint point;
    if (QLIBCExec(kUnmountTool, point.path(), nullptr, nullptr, nullptr) < 0) {
        ZAFO_LOG("umount [%s] failed. [0x%04X]", point.path(), zafo::PlatformError());
        return -1;
    }
    // Only an empty folder goes: one that is still a mount point stays.
    if (rmdir(point.path()) != 0) {
        ZAFO_LOG("rmdir %s failed.", point.path());
        return -1;
    }
    return 0;
}
