// SPDX-License-Identifier: Apache-2.0
#include "platform/user.h"

#include <stdlib.h>

#include <memory>

#include "host/core/fail.h"
#include "host/sdk/copies.h"

namespace {

struct FreeUser {
    void operator()(ZAFOUSER *pUser) const { ZAFOUserFree(pUser); }
};

}  // namespace

int ZAFOUserAlloc(ZAFOUSER **ppUser, const char *szName, const char *szPasswd, uint32_t pw_uid,
                  uint32_t pw_gid, const char *szFullname, const char *pw_dir, const char *pw_shell,
                  long nExpire, int blDisallowChangePasswd, const char *szMail) {
    if (ppUser == nullptr || szName == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [&] {
        std::unique_ptr<ZAFOUSER, FreeUser> user(
            static_cast<ZAFOUSER *>(calloc(1, sizeof(ZAFOUSER))));
        if (user == nullptr) throw std::bad_alloc();
        user->szName = zafo::CopyOf(szName);
        user->szPasswd = zafo::CopyOf(szPasswd);
        user->pw_uid = pw_uid;
        user->pw_gid = pw_gid;
        user->szFullname = zafo::CopyOf(szFullname);
        user->pw_dir = zafo::CopyOf(pw_dir);
        user->pw_shell = zafo::CopyOf(pw_shell);
        user->nExpire = nExpire;
        user->blDisallowChangePasswd = blDisallowChangePasswd;
        user->szMail = zafo::CopyOf(szMail);
        user->nType = ZAFO_ACCOUNT_LOCAL;
        ZAFOUserFree(*ppUser);  // only now: the texts may have been its own
        *ppUser = user.release();
        return 0;
    });
}

void ZAFOUserFree(ZAFOUSER *pUser) {
    if (pUser == nullptr) return;
    for (char *sz : {pUser->szName, pUser->szPasswd, pUser->szFullname, pUser->pw_dir,
                     pUser->pw_shell, pUser->szMail}) {
        free(sz);
    }
    free(pUser);
}
