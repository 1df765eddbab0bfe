// SPDX-License-Identifier: Apache-2.0
#include "platform/user.h"

#include <stdlib.h>

#include <memory>

#include "host/core/fail.h"
#include "host/sdk/copies.h"

namespace {

struct FreeUser {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
};

}  // namespace

int ZAFOUserAlloc(ZAFOUSER **user, const char *name, const char *password, uint32_t pw_uid,
                  uint32_t pw_gid, const char *full_name, const char *pw_dir, const char *pw_shell,
                  long expire, int disallow_change_password, const char *mail) {
    if (user == nullptr || name == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [&] {
        std::unique_ptr<ZAFOUSER, FreeUser> made(
            static_cast<ZAFOUSER *>(calloc(1, sizeof(ZAFOUSER))));
        if (made == nullptr) throw std::bad_alloc();
        made->szName = zafo::CopyOf(name);
        made->szPasswd = zafo::CopyOf(password);
        made->pw_uid = pw_uid;
        made->pw_gid = pw_gid;
        made->szFullname = zafo::CopyOf(full_name);
        made->pw_dir = zafo::CopyOf(pw_dir);
        made->pw_shell = zafo::CopyOf(pw_shell);
        made->nExpire = expire;
        made->blDisallowChangePasswd = disallow_change_password;
        made->szMail = zafo::CopyOf(mail);
        made->nType = ZAFO_ACCOUNT_LOCAL;
        ZAFOUserFree(*user);  // only now: the texts may have been its own
        *user = made.release();
        return 0;
    });
}

void ZAFOUserFree(ZAFOUSER *user) {
    if (user == nullptr) return;
    for (char *text : {user->szName, user->szPasswd, user->szFullname, user->pw_dir, user->pw_shell,
                       user->szMail}) {
        free(text);
    }
    free(user);
}
