// SPDX-License-Identifier: Apache-2.0
#include "zafoldap/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "frame/log.h"
#include "platform/error.h"
#include "zafoldap/error.h"

int ZAFOLDAPLock(const char *szFile, int flag) {
    constexpr int kBoth = LOCK_SH | LOCK_EX;
    if (szFile == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szFile");
    if ((flag & kBoth) == 0) return ZAFO_BAD_ARGUMENT("(flag & (1 | 2))");
    if ((flag & kBoth) == kBoth) {
        return ZAFO_BAD_ARGUMENT("(flag & (LOCK_SH | LOCK_EX)) != (LOCK_SH | LOCK_EX)");
    }
    const int fd = open(szFile, O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) {
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return -1;
    }
    if (flock(fd, flag | LOCK_NB) != 0) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_OCCUPIED);
        close(fd);
        return -1;
    }
    return fd;
}

int ZAFOLDAPUnLock(int fd) {
    if (fd < 0) return 0;
    flock(fd, LOCK_UN);
    close(fd);
    return 0;
}
