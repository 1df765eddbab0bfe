// SPDX-License-Identifier: Apache-2.0
//
// Adding a user: checks that name and number are free, writes one "add" record, then sets the
// password through the server. Nothing locks the directory between these steps; if somebody else
// adds the user in the meantime, the server notices when the DN is the same.
#include <string>

#include "platform/crypt.h"
#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/accounts/password_attributes.h"
#include "src/accounts/user_record.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/home.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/samba.h"
#include "zafoldap/user.h"

namespace {

// The two entry points: what szPasswd contains, and how their log lines quote.
struct PasswordKind {
    bool is_clear;
    const char *open;
    const char *close;
};
constexpr PasswordKind kClear{true, "", ""};
constexpr PasswordKind kCrypted{false, "[", "]"};

int CheckArguments(const ZAFOLDAP_HOST *host, const ZAFOUSER *user, const QLIBSZLIST *extra,
                   const char *users_container) {
    if (!zafo::HasBaseDN(host, __FILE_NAME__)) return -1;
    if (user == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");
    if (user->szName == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser->szName");
    if (user->szName[0] == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != pUser->szName[0]");
    if (user->pw_uid == UID_ERR) return ZAFO_BAD_ARGUMENT("UID_ERR != pUser->pw_uid");
    if (!zafo::IsOneLine(user->szName)) return ZAFO_NOT_ONE_LINE("pUser->szName");
    if (!zafo::IsOneLine(user->szFullname)) return ZAFO_NOT_ONE_LINE("pUser->szFullname");
    if (!zafo::IsOneLine(user->pw_dir)) return ZAFO_NOT_ONE_LINE("pUser->pw_dir");
    if (!zafo::IsOneLine(user->pw_shell)) return ZAFO_NOT_ONE_LINE("pUser->pw_shell");
    if (!zafo::IsOneLine(user->szMail)) return ZAFO_NOT_ONE_LINE("pUser->szMail");
    if (!zafo::IsOneLine(users_container)) return ZAFO_NOT_ONE_LINE("szUsersContainer");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(extra)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(plistExtra)");
    return 0;
}

int CheckFree(const ZAFOLDAP_HOST *host, const ZAFOUSER &user, const PasswordKind &kind) {
    if (zafo::IsNameTaken(host, zafo::kUsers, user.szName)) {
        return ZAFO_DEBUG_FAILURE("user %s%s%s exists in db.", kind.open, user.szName, kind.close);
    }
    if (!zafo::IsNumberTaken(host, zafo::kUsers, user.pw_uid)) return 0;
    return ZAFO_DEBUG_FAILURE("uid number %s%u%s exists in db.", kind.open, user.pw_uid,
                              kind.close);
}

int MakePasswordValue(const ZAFOUSER &user, const PasswordKind &kind, std::string *value) {
    if (user.szPasswd == nullptr) return 0;
    if (!kind.is_clear) {
        value->assign("{CRYPT}").append(user.szPasswd);
        if (value->size() >= zafo::kHashedPasswordSize) {
            value->resize(zafo::kHashedPasswordSize - 1);
        }
        return 0;
    }
    char hash[zafo::kHashedPasswordSize] = "";
    if (ZAFOLDAPEncryptPasswd(user.szPasswd, hash, sizeof hash) != 0) {
        return ZAFO_DEBUG_FAILURE("ZAFOLDAPEncryptPassword failed. [%s] [0x%04X]", user.szName,
                                  zafo::PlatformError());
    }
    value->assign(hash);
    return 0;
}

// A text that cannot be generated is written as an empty value; creating the user still succeeds.
void MakeSambaTexts(const ZAFOLDAP_HOST *host, const char *clear_password, zafo::NewUser *entry) {
    if ((host->nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) == 0) return;
    char sid[zafo::kSidSize] = "";
    ZAFOLDAPSambaSIDGen(host, sid, sizeof sid);
    entry->sid = sid;
    if (clear_password == nullptr) return;
    char nt_hash[zafo::kNtHashSize] = "";
    zafo::Ended(nt_hash, QLIBSmbNtEncrypt(clear_password, nt_hash, sizeof nt_hash));
    entry->nt_hash = nt_hash;
}

void LogRefusal(const char *name, const PasswordKind &kind) {
    const int error = ZAFOLDAPErrGet();
    if (kind.is_clear) {
        ZAFO_DEBUG_LOG("ZAFOLDAPModify failed [%s], %s (%d)", name,
                       ZAFOLDAPErrGetString(error, nullptr), error);
    } else {
        ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", name, zafo::PlatformError());
    }
}

int AddEntry(const ZAFOLDAP_HOST *host, const ZAFOUSER *user, const QLIBSZLIST *extra,
             const std::string &dn, const PasswordKind &kind) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    zafo::NewUser entry{};
    entry.user = user;
    entry.dn = dn;
    if (MakePasswordValue(*user, kind, &entry.password) != 0) return -1;
    MakeSambaTexts(host, kind.is_clear ? user->szPasswd : nullptr, &entry);
    entry.now = std::time(nullptr);
    entry.extra = extra;
    zafo::WriteUserRecord(file.get(), host->nSchema, entry);
    if (file.Apply(host) == 0) return 0;
    LogRefusal(user->szName, kind);
    return -1;
}

int Create(const ZAFOLDAP_HOST *host, const ZAFOUSER *user, const QLIBSZLIST *extra,
           const char *users_container, const PasswordKind &kind) {
    if (CheckFree(host, *user, kind) != 0) return -1;
    const char *container = users_container != nullptr ? users_container : zafo::kUsers.container;
    const std::string dn =
        zafo::AccountDN(zafo::kUsers.name_attribute, user->szName, container, host->szBaseDN);
    if (!zafo::FitsDN(dn)) return -1;
    if (AddEntry(host, user, extra, dn, kind) != 0) return -1;
    if (!kind.is_clear) return 0;

    if (user->szPasswd != nullptr && ZAFOLDAPPasswd(host, dn.c_str(), user->szPasswd) != 0) {
        return ZAFO_FAILURE("ZAFOLDAPPasswd failed. [%s]", dn.c_str());
    }
    ZAFOLDAPBrowserUserHomeCreate(host, user);
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserCreate(const ZAFOLDAP_HOST *host, ZAFOUSER *user, const QLIBSZLIST *extra,
                              const char *users_container) {
    if (CheckArguments(host, user, extra, users_container) != 0) return -1;

    return zafo::Guarded(-1, [&] { return Create(host, user, extra, users_container, kClear); });
}

int ZAFOLDAPBrowserUserCreateWithCryptedPass(const ZAFOLDAP_HOST *host, ZAFOUSER *user,
                                             const QLIBSZLIST *extra, const char *users_container) {
    if (CheckArguments(host, user, extra, users_container) != 0) return -1;
    if (!zafo::IsOneLine(user->szPasswd)) return ZAFO_NOT_ONE_LINE("pUser->szPasswd");

    return zafo::Guarded(-1, [&] { return Create(host, user, extra, users_container, kCrypted); });
}
