// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/error.h"
#include "src/frame/log.h"
#include "zafoldap/modify.h"

namespace zafo {

// A change file in "/tmp", removed on every path.
class ChangeFile {
  public:
    ChangeFile() = default;
    ChangeFile(const ChangeFile &) = delete;
    ChangeFile &operator=(const ChangeFile &) = delete;
    ~ChangeFile() {
        ZAFOLDAPLdifClose(&ldif_);
        ZAFOLDAPLdifUnlink(&ldif_);
    }

    // As ZAFOLDAPLdifInit.
    int Open() { return ZAFOLDAPLdifInit(&ldif_, nullptr); }
    ZAFOLDAP_LDIF *get() { return &ldif_; }

    // Flushes the stream: 0, or -1 with platform error 0x0B00 if a write failed, usually on a full
    // disk.
    int Flush() {
        errno = 0;
        if (std::fflush(ldif_.pFile) == 0 && std::ferror(ldif_.pFile) == 0) return 0;
        ZAFO_LOG("the change file %s is cut short: %s", ldif_.szPath,
                 errno != 0 ? std::strerror(errno) : "an earlier write failed");
        return FailWith(QLIB_ERR_WRITE_FAILED);
    }

    // As ZAFOLDAPModify. A truncated file is never run: a truncated record means something else,
    // for example "delete: memberUid" alone removes every member.
    int Apply(const ZAFOLDAP_HOST *host, int add = 0) {
        return Flush() == 0 ? ZAFOLDAPModify(host, &ldif_, add) : -1;
    }

  private:
    ZAFOLDAP_LDIF ldif_{};
};

}  // namespace zafo
