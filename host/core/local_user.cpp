// SPDX-License-Identifier: Apache-2.0
//
// The passwords of local users, and how many more users there may be.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host/accounts/account_conf.h"
#include "host/accounts/account_lock.h"
#include "host/accounts/crypt_hash.h"
#include "host/accounts/login_defs.h"
#include "host/accounts/passwd.h"
#include "host/accounts/smbpasswd.h"
#include "host/core/fail.h"
#include "platform/user.h"

namespace {

using zafo::Fail;
using zafo::OutOfMemoryIs;

// The hashes to store for a user.
struct NewHashes {
    zafo::SambaAccount samba;
    std::string_view crypt;  // empty: the password stays
};

// Returns 0 or a platform error code.
int Collect(const std::string &passwd, const std::string_view name, std::string_view crypt,
            std::string_view lm, std::string_view nt, std::vector<NewHashes> *users) {
    const bool fit = (crypt.empty() || !zafo::CryptHashIn(crypt).empty()) &&
                     zafo::IsSambaHash(lm) && zafo::IsSambaHash(nt);
    if (!fit) return QLIB_ERR_BAD_ARGUMENT;
    const auto user = zafo::FindUserNamed(passwd, name);
    if (!user) return QLIB_ERR_NO_SUCH_USER;
    users->push_back({{std::string(name), user->uid, std::string(lm), std::string(nt)},
                      zafo::CryptHashIn(crypt)});
    return 0;
}

// A user's shadow line with a new password, changed today; unchanged if it already has that
// password.
std::string WithPassword(std::string_view line, std::string_view hash) {
    zafo::Fields fields = zafo::Split(line, ':');
    const std::string today = std::to_string(zafo::Today());
    if (zafo::FieldAt(fields, 1) == hash) return std::string(line);
    fields.resize(std::max<size_t>(fields.size(), 9));
    fields[1] = hash;
    fields[2] = today;
    return zafo::Joined(fields, ':');
}

// Returns 0 or a platform error code.
int StoreCrypt(const std::vector<NewHashes> &users) {
    std::string shadow;
    if (const int error = zafo::ReadAccountFile(zafo::kShadowFile, &shadow); error != 0) {
        return error;
    }
    const std::string before = shadow;
    for (const NewHashes &user : users) {
        if (user.crypt.empty()) continue;
        const auto line = zafo::LineOf(shadow, user.samba.name);
        zafo::PutLine(&shadow, user.samba.name,
                      WithPassword(line.value_or(user.samba.name), user.crypt));
    }
    return shadow == before ? 0 : zafo::ReplaceAccountFile(zafo::kShadowFile, shadow);
}

// The Samba hashes go first: the creator of the account has already stored its password, so if this
// process dies here, as little as possible is missing.
int Store(const std::vector<NewHashes> &users) {
    std::vector<zafo::SambaAccount> samba;
    samba.reserve(users.size());
    for (const NewHashes &user : users)
        samba.push_back(user.samba);
    const int error = zafo::StoreSambaHashes(samba);
    return error != 0 ? error : StoreCrypt(users);
}

int CountOrdinaryUsers(const std::string &passwd) {
    const auto ordinary = zafo::OrdinaryNumbers::OfUsers();
    int count = 0;
    zafo::FindUser(passwd, [&](const zafo::PasswdEntry &user) {
        count += ordinary.Hold(user.uid) ? 1 : 0;
        return false;
    });
    return count;
}

}  // namespace

QLIBCMRESULT *QLIBCMResultAlloc() {
    auto *result = static_cast<QLIBCMRESULT *>(calloc(1, sizeof(QLIBCMRESULT)));
    return result != nullptr ? result : zafo::FailNull(QLIB_ERR_OUT_OF_MEMORY);
}

void QLIBCMResultFree(QLIBCMRESULT *result) {
    free(result);
}

int QLIBUserSmbPasswdGet(const char *name, char *lm_hash, size_t lm_size, char *nt_hash,
                         size_t nt_size) {
    if (name == nullptr || lm_hash == nullptr || nt_hash == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        std::string passwd;
        int error = zafo::ReadAccountFile(zafo::kPasswdFile, &passwd);
        if (error != 0) return Fail(error);
        const auto user = zafo::FindUserNamed(passwd, name);
        if (!user) return Fail(QLIB_ERR_NO_SUCH_USER);
        zafo::SambaHashes hashes;
        error = zafo::ReadSambaHashes(name, user->uid, &hashes);
        if (error != 0) return Fail(error);
        if (hashes.lm.size() >= lm_size || hashes.nt.size() >= nt_size) {
            return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
        }
        std::memcpy(lm_hash, hashes.lm.c_str(), hashes.lm.size() + 1);
        std::memcpy(nt_hash, hashes.nt.c_str(), hashes.nt.size() + 1);
        return 0;
    });
}

int QLIBUserImportPasswd(const char *const *names, const char *const *crypt_hashes,
                         const char *const *lm_hashes, const char *const *nt_hashes, int count) {
    if (names == nullptr || crypt_hashes == nullptr || lm_hashes == nullptr ||
        nt_hashes == nullptr || count < 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        const zafo::AccountLock lock;
        std::string passwd;
        int error = lock.IsHeld() ? zafo::ReadAccountFile(zafo::kPasswdFile, &passwd)
                                  : QLIB_ERR_OPEN_FAILED;
        std::vector<NewHashes> users;
        for (int i = 0; error == 0 && i < count; ++i) {
            error = Collect(passwd, zafo::TextOf(names[i]), zafo::TextOf(crypt_hashes[i]),
                            zafo::TextOf(lm_hashes[i]), zafo::TextOf(nt_hashes[i]), &users);
        }
        return zafo::ResultOf(error == 0 ? Store(users) : error);
    });
}

int QLIBUserNumRemained() {
    return OutOfMemoryIs(-1, [] {
        int limit = 0;
        std::string passwd;
        int error = zafo::ReadUserLimit(&limit);
        if (error == 0) error = zafo::ReadAccountFile(zafo::kPasswdFile, &passwd);
        if (error != 0) return Fail(error);
        return std::max(limit - CountOrdinaryUsers(passwd), 0);
    });
}
