// SPDX-License-Identifier: Apache-2.0
//
// Adding a user: is the name free, is the number free, one "add" record, then the password
// through the server. Nothing locks the directory between these steps; a user that somebody else
// adds meanwhile is noticed by the server when the DN is the same.
#include <string>

#include "accounts/account_taken.h"
#include "accounts/one_line.h"
#include "accounts/password_attributes.h"
#include "accounts/user_record.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "zafoldap/debug.h"
#include "zafoldap/home.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/samba.h"
#include "zafoldap/user.h"

namespace {

// The two entry points: what szPasswd is, and how their log lines quote.
struct PASSWORD_KIND {
    bool blClear;
    const char *szOpen;
    const char *szClose;
};
constexpr PASSWORD_KIND kClear{true, "", ""};
constexpr PASSWORD_KIND kCrypted{false, "[", "]"};

int CheckArguments(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
                   const char *szUsersContainer) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost->szBaseDN");
    if (pUser == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");
    if (pUser->szName == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser->szName");
    if (pUser->szName[0] == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != pUser->szName[0]");
    if (pUser->pw_uid == UID_ERR) return ZAFO_BAD_ARGUMENT("UID_ERR != pUser->pw_uid");
    if (!zafo::IsOneLine(pUser->szName)) return ZAFO_NOT_ONE_LINE("pUser->szName");
    if (!zafo::IsOneLine(pUser->szFullname)) return ZAFO_NOT_ONE_LINE("pUser->szFullname");
    if (!zafo::IsOneLine(pUser->pw_dir)) return ZAFO_NOT_ONE_LINE("pUser->pw_dir");
    if (!zafo::IsOneLine(pUser->pw_shell)) return ZAFO_NOT_ONE_LINE("pUser->pw_shell");
    if (!zafo::IsOneLine(pUser->szMail)) return ZAFO_NOT_ONE_LINE("pUser->szMail");
    if (!zafo::IsOneLine(szUsersContainer)) return ZAFO_NOT_ONE_LINE("szUsersContainer");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(plistExtra)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(plistExtra)");
    return 0;
}

bool IsTaken(const ZAFOLDAP_HOST *pHost, const ZAFOUSER &user, const PASSWORD_KIND &kind) {
    if (zafo::IsNameTaken(pHost, zafo::kUsers, user.szName)) {
        ZAFO_DEBUG_LOG("user %s%s%s exists in db.", kind.szOpen, user.szName, kind.szClose);
        return true;
    }
    if (zafo::IsNumberTaken(pHost, zafo::kUsers, user.pw_uid)) {
        ZAFO_DEBUG_LOG("uid number %s%u%s exists in db.", kind.szOpen, user.pw_uid, kind.szClose);
        return true;
    }
    return false;
}

int MakePasswordValue(const ZAFOUSER &user, const PASSWORD_KIND &kind, std::string *pValue) {
    if (user.szPasswd == nullptr) return 0;
    if (!kind.blClear) {
        pValue->assign("{CRYPT}").append(user.szPasswd);
        if (pValue->size() >= zafo::kHashedPasswordSize) {
            pValue->resize(zafo::kHashedPasswordSize - 1);
        }
        return 0;
    }
    char szHash[zafo::kHashedPasswordSize] = "";
    if (ZAFOLDAPEncryptPasswd(user.szPasswd, szHash, sizeof szHash) != 0) {
        ZAFO_DEBUG_LOG("ZAFOLDAPEncryptPassword failed. [%s] [0x%04X]", user.szName,
                       zafo::PlatformError());
        return -1;
    }
    pValue->assign(szHash);
    return 0;
}

// Neither may fail the creation: what cannot be made is written as an empty value.
void MakeSambaTexts(const ZAFOLDAP_HOST *pHost, const char *szClearPasswd, zafo::NewUser *pEntry) {
    if ((pHost->nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) == 0) return;
    char szSID[zafo::kSidSize] = "";
    ZAFOLDAPSambaSIDGen(pHost, szSID, sizeof szSID);
    pEntry->sid = szSID;
    if (szClearPasswd == nullptr) return;
    char szNtHash[zafo::kNtHashSize] = "";
    zafo::Ended(szNtHash, QLIBSmbNtEncrypt(szClearPasswd, szNtHash, sizeof szNtHash));
    pEntry->nt_hash = szNtHash;
}

void LogRefusal(const char *szName, const PASSWORD_KIND &kind) {
    const int nError = ZAFOLDAPErrGet();
    if (kind.blClear) {
        ZAFO_DEBUG_LOG("ZAFOLDAPModify failed [%s], %s (%d)", szName,
                       ZAFOLDAPErrGetString(nError, nullptr), nError);
    } else {
        ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", szName, zafo::PlatformError());
    }
}

int AddEntry(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
             const std::string &dn, const PASSWORD_KIND &kind) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    zafo::NewUser entry{};
    entry.user = pUser;
    entry.dn = dn;
    if (MakePasswordValue(*pUser, kind, &entry.password) != 0) return -1;
    MakeSambaTexts(pHost, kind.blClear ? pUser->szPasswd : nullptr, &entry);
    entry.now = std::time(nullptr);
    entry.extra = plistExtra;
    zafo::WriteUserRecord(file.get(), pHost->nSchema, entry);
    if (file.Apply(pHost) == 0) return 0;
    LogRefusal(pUser->szName, kind);
    return -1;
}

int Create(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
           const char *szUsersContainer, const PASSWORD_KIND &kind) {
    if (IsTaken(pHost, *pUser, kind)) return -1;
    const char *szContainer =
        szUsersContainer != nullptr ? szUsersContainer : zafo::kUsers.szContainer;
    const std::string dn =
        zafo::AccountDN(zafo::kUsers.szNameAttr, pUser->szName, szContainer, pHost->szBaseDN);
    if (!zafo::FitsDN(dn)) return -1;
    if (AddEntry(pHost, pUser, plistExtra, dn, kind) != 0) return -1;
    if (!kind.blClear) return 0;

    if (pUser->szPasswd != nullptr && ZAFOLDAPPasswd(pHost, dn.c_str(), pUser->szPasswd) != 0) {
        ZAFO_LOG("ZAFOLDAPPasswd failed. [%s]", dn.c_str());
        return -1;
    }
    ZAFOLDAPBrowserUserHomeCreate(pHost, pUser);
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserCreate(const ZAFOLDAP_HOST *pHost, ZAFOUSER *pUser,
                              const QLIBSZLIST *plistExtra, const char *szUsersContainer) {
    if (CheckArguments(pHost, pUser, plistExtra, szUsersContainer) != 0) return -1;

    return zafo::Guarded(
        -1, [&] { return Create(pHost, pUser, plistExtra, szUsersContainer, kClear); });
}

int ZAFOLDAPBrowserUserCreateWithCryptedPass(const ZAFOLDAP_HOST *pHost, ZAFOUSER *pUser,
                                             const QLIBSZLIST *plistExtra,
                                             const char *szUsersContainer) {
    if (CheckArguments(pHost, pUser, plistExtra, szUsersContainer) != 0) return -1;
    if (!zafo::IsOneLine(pUser->szPasswd)) return ZAFO_NOT_ONE_LINE("pUser->szPasswd");

    return zafo::Guarded(
        -1, [&] { return Create(pHost, pUser, plistExtra, szUsersContainer, kCrypted); });
}
