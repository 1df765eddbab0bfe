// SPDX-License-Identifier: Apache-2.0
//
// Changing a user: what really changes goes into one change file; then the groups follow a new
// name, and the server sets a new password. What fails after the change file leaves it applied.
#include <string>

#include "accounts/account_owner.h"
#include "accounts/account_taken.h"
#include "accounts/one_line.h"
#include "accounts/password_attributes.h"
#include "accounts/user_changes.h"
#include "base/dn.h"
#include "core/change_file.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "platform/group.h"
#include "platform/ldap.h"
#include "platform/unicode.h"
#include "zafoldap/dn.h"
#include "zafoldap/membership.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/search.h"
#include "zafoldap/user.h"

namespace {

using DN = char[zafo::kMaxDN + 1];

// What a caller asked for.
struct REQUEST {
    const ZAFOLDAP_HOST *pHost;
    const char *szDN;
    const ZAFOUSER *pWanted;
    const int *pBlDisallowChPasswd;
    const long *plExpire;
};

// The entry as it is.
struct ENTRY {
    zafo::User user;
    unsigned int nClasses = 0;
    bool blRenamed = false;  // the wanted name is another one
    DN szRDNAttr = "";       // for a renamed entry: the attribute that its RDN is made of
    std::string newDN;       // the DN that it will have
};

int CheckLength(const std::string &dn) {
    if (zafo::FitsDN(dn)) return 0;
    ZAFO_LOG("DN [%s] is too long. [0x%04X]", dn.c_str(), zafo::PlatformError());
    return -1;
}

int ReadEntry(const REQUEST &request, ENTRY *pEntry) {
    ZAFOUSER *pUser = nullptr;
    const int nFound = ZAFOLDAPBrowserUserGet(request.pHost, request.szDN, &pUser, nullptr);
    pEntry->user.reset(pUser);
    if (nFound != 1) {
        ZAFO_LOG("get user %s failed. ", request.szDN);
        return -1;
    }
    if (ZAFOLDAPSearchObjectClasses(request.pHost, request.szDN, zafo::kUserFilter,
                                    &pEntry->nClasses) != 0) {
        ZAFO_LOG("get object classes of %s failed. [0x%04X]", request.szDN, zafo::PlatformError());
        return -1;
    }
    if ((pEntry->nClasses & ZAFOLDAP_CLASS_POSIX_ACCOUNT) == 0) {
        ZAFO_LOG("user [%s] disapeared", request.szDN);
        return -1;
    }
    return 0;
}

// Names differ when more than their letter case does.
int CheckName(const REQUEST &request, ENTRY *pEntry) {
    const char *szWanted = request.pWanted->szName;
    const char *szCurrent = pEntry->user->szName;
    pEntry->blRenamed = szWanted != nullptr && QLIBCUnicodeUTF8StrCaseCmp(szWanted, szCurrent) != 0;
    if (!pEntry->blRenamed) return 0;
    if (!zafo::IsOneLine(szCurrent)) {  // as foreign as a caller's; the groups take it out
        QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
        ZAFO_LOG("the name of user %s is more than one line. [0x%04X]", request.szDN,
                 zafo::PlatformError());
        return -1;
    }
    if (!zafo::IsNameTaken(request.pHost, zafo::kUsers, szWanted)) return 0;
    ZAFO_LOG("user %s exists in db.", szWanted);
    return -1;
}

int CheckNumber(const REQUEST &request, const ENTRY &entry) {
    const uint32_t uid = request.pWanted->pw_uid;
    if (uid == UID_ERR || uid == entry.user->pw_uid) return 0;
    if (!zafo::IsNumberTaken(request.pHost, zafo::kUsers, uid)) return 0;
    ZAFO_LOG("uid number %u exists in db.", uid);
    return -1;
}

// The hash is not used: a password that cannot be hashed is refused before anything changes.
int CheckPassword(const REQUEST &request) {
    const char *szPasswd = request.pWanted->szPasswd;
    char szHash[zafo::kHashedPasswordSize] = "";
    if (szPasswd == nullptr || ZAFOLDAPEncryptPasswd(szPasswd, szHash, sizeof szHash) == 0) {
        return 0;
    }
    ZAFO_LOG("ZAFOLDAPEncryptPassword failed. [0x%04X]", zafo::PlatformError());
    return -1;
}

// Finds out what a new name makes of the DN.
int FindNewDN(const REQUEST &request, ENTRY *pEntry) {
    pEntry->newDN = request.szDN;
    if (!pEntry->blRenamed) return 0;
    DN szRDN = "";
    if (zafo::Ended(szRDN, ZAFOLDAPRDNExtract(request.szDN, 1, szRDN, sizeof szRDN)) < 0) {
        ZAFO_LOG("ZAFOLDAPRDNExtract [%s] failed. [0x%04X]", request.szDN, zafo::PlatformError());
        return -1;
    }
    DN szValue = "";
    const int nPair = ZAFOLDAPRDNPairExtract(szRDN, pEntry->szRDNAttr, sizeof pEntry->szRDNAttr,
                                             szValue, sizeof szValue);
    if (zafo::Ended(pEntry->szRDNAttr, nPair) < 0) {
        ZAFO_LOG("ZAFOLDAPRDNPairExtract [%s] failed. [0x%04X]", szRDN, zafo::PlatformError());
        return -1;
    }
    // From the end of the RDN on: ZAFOLDAPDNParserParentDN knows no escaped commas. szRDN cannot
    // tell where that is, for a platform may write the RDN in another way.
    DN szParent = "";
    if (ZAFOLDAPDNParserParentDN(request.szDN + zafo::EndOfRdn(request.szDN), szParent,
                                 sizeof szParent) != 0) {
        ZAFO_LOG("ZAFOLDAPParentDNGet failed. [%s]", request.szDN);
        return -1;
    }
    pEntry->newDN.assign(pEntry->szRDNAttr).append("=");
    pEntry->newDN.append(zafo::EscapedForDn(request.pWanted->szName));
    pEntry->newDN.append(szParent[0] != '\0' ? "," : "").append(szParent);
    return CheckLength(pEntry->newDN);
}

int ChangeEntry(const REQUEST &request, const ENTRY &entry) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    const unsigned int nClasses = request.pHost->nSchema & entry.nClasses;
    char szNtHash[zafo::kNtHashSize] = "";
    if (request.pWanted->szPasswd != nullptr &&
        (nClasses & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) != 0) {
        zafo::Ended(szNtHash,
                    QLIBSmbNtEncrypt(request.pWanted->szPasswd, szNtHash, sizeof szNtHash));
    }
    zafo::WriteUserChanges(file.get(), {.szDN = request.szDN,
                                        .pWanted = request.pWanted,
                                        .pBlDisallowChPasswd = request.pBlDisallowChPasswd,
                                        .plExpire = request.plExpire,
                                        .pCurrent = entry.user.get(),
                                        .nClasses = nClasses,
                                        .szNtHash = szNtHash,
                                        .tNow = std::time(nullptr),
                                        .szRDNAttr = entry.blRenamed ? entry.szRDNAttr : nullptr});
    if (file.Apply(request.pHost) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", request.szDN, zafo::PlatformError());
    return -1;
}

// What follows a change that the server took.
int FollowUp(const REQUEST &request, const ENTRY &entry) {
    const ZAFOUSER &wanted = *request.pWanted;
    const char *szOldName = entry.user->szName;
    if (entry.blRenamed &&
        ZAFOLDAPBrowserGroupEditWhenUserUIDChange(request.pHost, szOldName, wanted.szName) != 0) {
        ZAFO_LOG("Edit group failed. [%s]. [0x%04X]", szOldName, zafo::PlatformError());
        return -1;
    }
    if (wanted.szPasswd != nullptr &&
        ZAFOLDAPPasswd(request.pHost, entry.newDN.c_str(), wanted.szPasswd) != 0) {
        ZAFO_LOG("ZAFOLDAPPasswd failed. [%s]", entry.newDN.c_str());
        return -1;
    }
    return 0;
}

int Edit(const REQUEST &request) {
    if (CheckLength(request.szDN) != 0) return -1;
    ENTRY entry;
    if (ReadEntry(request, &entry) != 0 || CheckName(request, &entry) != 0 ||
        CheckNumber(request, entry) != 0 || CheckPassword(request) != 0 ||
        FindNewDN(request, &entry) != 0 || ChangeEntry(request, entry) != 0) {
        return -1;
    }
    return FollowUp(request, entry);
}

bool IsChangeRequested(const REQUEST &request) {
    const ZAFOUSER &wanted = *request.pWanted;
    return wanted.szName != nullptr || wanted.pw_uid != UID_ERR || wanted.pw_gid != GID_ERR ||
           wanted.pw_dir != nullptr || wanted.pw_shell != nullptr || wanted.szFullname != nullptr ||
           wanted.szPasswd != nullptr || wanted.szMail != nullptr ||
           request.pBlDisallowChPasswd != nullptr || request.plExpire != nullptr;
}

}  // namespace

int ZAFOLDAPBrowserUserEdit(const ZAFOLDAP_HOST *pHost, const char *szUserDN, const ZAFOUSER *pUser,
                            const int *pBlDisallowChPasswd, const long *plExpire) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (pUser == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");
    const REQUEST request{pHost, szUserDN, pUser, pBlDisallowChPasswd, plExpire};
    if (!IsChangeRequested(request)) {
        return ZAFO_BAD_ARGUMENT(
            "pUser->szName || UID_ERR != pUser->pw_uid || GID_ERR != pUser->pw_gid || "
            "pUser->pw_dir || pUser->pw_shell || pUser->szFullname || pUser->szPasswd || "
            "pUser->szMail || pBlDisallowChPasswd || plExpire");
    }
    REQUIRE_ONE_LINE(szUserDN);
    REQUIRE_ONE_LINE(pUser->szName);
    REQUIRE_ONE_LINE(pUser->pw_dir);
    REQUIRE_ONE_LINE(pUser->pw_shell);
    REQUIRE_ONE_LINE(pUser->szFullname);
    REQUIRE_ONE_LINE(pUser->szMail);
    REQUIRE_ONE_LINE(pHost->szBaseDN);  // in the groups

    return zafo::GuardedAloud(__FILE_NAME__, __LINE__, [&] { return Edit(request); });
}
