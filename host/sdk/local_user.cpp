// SPDX-License-Identifier: Apache-2.0
//
// Reads this system's own users.
#include "base/whole_file.h"
#include "host/accounts/account_conf.h"
#include "host/accounts/crypt_hash.h"
#include "host/sdk/full_name.h"
#include "host/sdk/local_accounts.h"
#include "platform/user.h"

namespace {

using zafo::Fail;
using zafo::PasswdEntry;

// Password hash and dates of an account. As in login(1), an account whose hash should be in the
// shadow file but is not counts as locked.
struct Secrets {
    std::string hash = zafo::kLockedPassword;
    long expires = 0;
    bool too_young = false;  // the password may not be changed yet
};

bool IsTooYoung(const zafo::ShadowEntry &shadow) {
    return shadow.changed >= 0 && zafo::Today() - shadow.changed < shadow.least;
}

// Returns 0 or a platform error code.
int ReadSecrets(const PasswdEntry &user, Secrets *secrets) {
    if (user.password != "x") {
        secrets->hash = zafo::PortableHash(user.password);
        return 0;
    }
    std::string text;
    if (!zafo::ReadIfPresent(zafo::kShadowFile, &text)) return QLIB_ERR_OPEN_FAILED;
    const auto line = zafo::LineOf(text, user.name);
    if (!line) return 0;
    const zafo::ShadowEntry shadow = zafo::ParseShadow(*line);
    *secrets = {.hash = zafo::PortableHash(shadow.password),
                .expires = shadow.expires > 0 ? shadow.expires : 0,
                .too_young = IsTooYoung(shadow)};
    return 0;
}

int MakeRecord(const PasswdEntry &user, ZAFOUSER **record) {
    const std::string name(user.name);
    Secrets secrets;
    std::string mail;
    std::string full_name;
    int error = ReadSecrets(user, &secrets);
    if (error == 0) error = zafo::ReadAccountText(zafo::kMailSection, name, &mail);
    if (error == 0) error = zafo::ReadAccountText(zafo::kFullNameSection, name, &full_name);
    if (error != 0) return Fail(error);
    return ZAFOUserAlloc(record, name.c_str(), secrets.hash.c_str(), user.uid, user.gid,
                         zafo::FullNameFrom(user.gecos, full_name).c_str(),
                         std::string(user.home).c_str(), std::string(user.shell).c_str(),
                         secrets.expires, secrets.too_young ? 1 : 0,
                         mail.empty() ? nullptr : mail.c_str());
}

// Gets the first user for which `wanted` returns true.
template <typename Wanted>
int GetUser(ZAFOUSER **record, Wanted wanted) {
    return zafo::WithAccount(zafo::kUsers, wanted,
                             [=](const PasswdEntry &user) { return MakeRecord(user, record); });
}

}  // namespace

int ZAFOUserEnum(QLIBSZLIST **list, int type) {
    return zafo::AppendOrdinary(zafo::kUsers, list, type);
}

int ZAFOUserGetLocal(const char *name, ZAFOUSER **record) {
    if (name == nullptr || record == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return GetUser(record, [=](const PasswdEntry &user) { return user.name == name; });
}

int ZAFOUserGet(const char *name, ZAFOUSER **record) {
    return ZAFOUserGetLocal(name, record);
}

int ZAFOUserGetLocalByUID(uint32_t uid, ZAFOUSER **record) {
    if (record == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return GetUser(record, [=](const PasswdEntry &user) { return user.uid == uid; });
}
