// SPDX-License-Identifier: Apache-2.0
//
// Adding a user: is the name free, is the number free, one "add" record, then the password
// through the server. Nothing locks the directory between these steps; a user that somebody else
// adds meanwhile is noticed by the server when the DN is the same.
#include <string>
#include <utility>

#include "accounts/account_taken.h"
#include "accounts/one_line.h"
#include "accounts/password_attributes.h"
#include "accounts/user_record.h"
#include "core/change_file.h"
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

// The caller's password pointer, which gives way to another text for a while.
class LentPassword {
  public:
    LentPassword(ZAFOUSER *pUser, char *szMeanwhile)
        : pUser_(pUser), szLent_(std::exchange(pUser->szPasswd, szMeanwhile)) {}
    LentPassword(const LentPassword &) = delete;
    LentPassword &operator=(const LentPassword &) = delete;
    ~LentPassword() { pUser_->szPasswd = szLent_; }

  private:
    ZAFOUSER *pUser_;
    char *szLent_;
};

// Texts that tools and the platform make for the record.
struct MADE_TEXTS {
    std::string passwd;  // value of userPassword
    char szSID[zafo::kSidSize] = "";
    char szNtHash[zafo::kNtHashSize] = "";
};

int CheckArguments(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
                   const char *szUsersContainer) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (pHost->szBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost->szBaseDN");
    if (pUser == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");
    if (pUser->szName == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser->szName");
    if (pUser->szName[0] == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != pUser->szName[0]");
    if (pUser->pw_uid == UID_ERR) return ZAFO_BAD_ARGUMENT("UID_ERR != pUser->pw_uid");
    REQUIRE_ONE_LINE(pUser->szName);
    REQUIRE_ONE_LINE(pUser->szFullname);
    REQUIRE_ONE_LINE(pUser->pw_dir);
    REQUIRE_ONE_LINE(pUser->pw_shell);
    REQUIRE_ONE_LINE(pUser->szMail);
    REQUIRE_ONE_LINE(szUsersContainer);
    REQUIRE_ONE_LINE(pHost->szBaseDN);
    REQUIRE_ONE_LINE_EACH(plistExtra);
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
void MakeSambaTexts(const ZAFOLDAP_HOST *pHost, const char *szClearPasswd, MADE_TEXTS *pMade) {
    if ((pHost->nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) == 0) return;
    ZAFOLDAPSambaSIDGen(pHost, pMade->szSID, sizeof pMade->szSID);
    if (szClearPasswd != nullptr) {
        zafo::Ended(pMade->szNtHash,
                    QLIBSmbNtEncrypt(szClearPasswd, pMade->szNtHash, sizeof pMade->szNtHash));
    }
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

int AddEntry(const ZAFOLDAP_HOST *pHost, ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
             const std::string &dn, const PASSWORD_KIND &kind) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    MADE_TEXTS made;
    if (MakePasswordValue(*pUser, kind, &made.passwd) != 0) return -1;
    const char *szClearPasswd = kind.blClear ? pUser->szPasswd : nullptr;
    MakeSambaTexts(pHost, szClearPasswd, &made);
    {
        const LentPassword lent(pUser, made.passwd.data());
        zafo::WriteUserRecord(file.get(), pHost->nSchema,
                              {.pUser = pUser,
                               .szDN = dn.c_str(),
                               .szSID = made.szSID,
                               .szNtHash = szClearPasswd != nullptr ? made.szNtHash : nullptr,
                               .tNow = std::time(nullptr),
                               .plistExtra = plistExtra});
    }
    if (file.Apply(pHost) == 0) return 0;
    LogRefusal(pUser->szName, kind);
    return -1;
}

int Create(const ZAFOLDAP_HOST *pHost, ZAFOUSER *pUser, const QLIBSZLIST *plistExtra,
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
    REQUIRE_ONE_LINE(pUser->szPasswd);

    return zafo::Guarded(
        -1, [&] { return Create(pHost, pUser, plistExtra, szUsersContainer, kCrypted); });
}
