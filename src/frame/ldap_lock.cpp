// SPDX-License-Identifier: Apache-2.0
#include <sys/file.h>
#include <unistd.h>

#include "platform/error.h"
#include "src/frame/guard.h"
#include "src/frame/lock_file.h"
#include "src/frame/log.h"
#include "zafoldap/error.h"
#include "zafoldap/lock.h"

namespace {

int TakeLock(const char *path, int flag) {
    constexpr int kTries = 10;
    zafo::LockFile lock(path);
    for (int i = 0; i < kTries; ++i) {
        zafo::UniqueFd file = lock.Open();
        if (!file.IsOpen()) break;
        if (flock(file.Get(), flag | LOCK_NB) != 0) {
            ZAFOLDAPErrSet(ZAFOLDAP_ERR_OCCUPIED);
            return -1;
        }
        if (lock.IsInPlace(file)) return file.Release();
    }
    return zafo::FailWith(QLIB_ERR_OPEN_FAILED);
}

}  // namespace

int ZAFOLDAPLock(const char *path, int flag) {
    constexpr int kBoth = LOCK_SH | LOCK_EX;
    if (path == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szFile");
    if ((flag & kBoth) == 0) return ZAFO_BAD_ARGUMENT("(flag & (1 | 2))");
    if ((flag & kBoth) == kBoth) {
        return ZAFO_BAD_ARGUMENT("(flag & (LOCK_SH | LOCK_EX)) != (LOCK_SH | LOCK_EX)");
    }
    return zafo::Guarded(-1, [=] { return TakeLock(path, flag); });
}

int ZAFOLDAPUnLock(int fd) {
    if (fd < 0) return 0;
    flock(fd, LOCK_UN);
    close(fd);
    return 0;
}
