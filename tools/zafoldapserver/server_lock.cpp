// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/server_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "tools/cli/failure.h"
#include "zafoldap/error.h"
#include "zafoldap/lock.h"

namespace zafo::cli {

namespace {

constexpr const char *kLockFile = "/var/run/zafoldapserver.lock";

}  // namespace

ServerLock::ServerLock() {
    ZAFOLDAPErrReset();
    fd_ = ZAFOLDAPLock(kLockFile, LOCK_EX);
    if (fd_ >= 0) return;
    if (ZAFOLDAPErrGet() != 0) throw LibraryFailure(ZAFOLDAPErrGet(), 0, {}, {});
    throw OwnFailure(Message::kFolderUnwritable,
                     {.subject = kLockFile, .reason = std::strerror(errno)});
}

ServerLock::~ServerLock() {
    ZAFOLDAPUnLock(fd_);
}

}  // namespace zafo::cli
