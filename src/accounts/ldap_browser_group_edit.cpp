// SPDX-License-Identifier: Apache-2.0
//
// Changing a group's name, description and number in one change file. Members, and users whose
// primary group it is, are not touched.
#include <cstring>

#include "accounts/account_owner.h"
#include "accounts/account_taken.h"
#include "accounts/one_line.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/unicode.h"
#include "zafoldap/group.h"

namespace {

// One byte more than the longest that is compared whole: it tells what was cut.
constexpr size_t kDescriptionSize = 1025;

// What really changes; NULL stays.
struct CHANGES {
    const char *szNewName;
    const char *szDesc;
    const unsigned int *pGid;
};

// A description that fills the buffer may have been cut, and differs.
bool IsSameText(const char (&szCurrent)[kDescriptionSize], const char *szWanted) {
    return std::strcmp(szCurrent, szWanted) == 0 && std::strlen(szCurrent) + 1 < kDescriptionSize;
}

// Reads the group and crosses out what is as wanted already. 0, or -1.
int KeepWhatDiffers(const ZAFOLDAP_HOST *pHost, const char *szGroupDN, CHANGES *pChanges) {
    char szDesc[kDescriptionSize] = "";
    zafo::Group group;
    const int nFound =
        ZAFOLDAPBrowserGroupGet(pHost, szGroupDN, group.Next(), szDesc, sizeof szDesc);
    if (nFound != 1) {
        ZAFO_LOG("get group %s failed. ", szGroupDN);
        return -1;
    }
    const char *&szNewName = pChanges->szNewName;
    if (szNewName != nullptr && QLIBCUnicodeUTF8StrCaseCmp(szNewName, group->szName) == 0) {
        szNewName = nullptr;
    }
    if (pChanges->szDesc != nullptr && IsSameText(szDesc, pChanges->szDesc)) {
        pChanges->szDesc = nullptr;
    }
    if (pChanges->pGid != nullptr && *pChanges->pGid == group->nGid) pChanges->pGid = nullptr;
    return 0;
}

bool IsTaken(const ZAFOLDAP_HOST *pHost, const CHANGES &changes) {
    if (changes.szNewName != nullptr &&
        zafo::IsNameTaken(pHost, zafo::kGroups, changes.szNewName)) {
        ZAFO_LOG("group %s exists in db.", changes.szNewName);
        return true;
    }
    if (changes.pGid != nullptr && zafo::IsNumberTaken(pHost, zafo::kGroups, *changes.pGid)) {
        ZAFO_LOG("gid number %u exists in db.", *changes.pGid);
        return true;
    }
    return false;
}

void WriteChanges(ZAFOLDAP_LDIF *pLDIF, const char *szGroupDN, const CHANGES &changes) {
    if (changes.szDesc != nullptr || changes.pGid != nullptr) {
        ZAFOLDAPLdifTargetDN(pLDIF, szGroupDN);
        ZAFOLDAPLdifChangeType(pLDIF, "modify");
    }
    if (changes.szDesc != nullptr && changes.szDesc[0] != '\0') {
        zafo::ReplaceValue(pLDIF, "description", changes.szDesc);
    } else if (changes.szDesc != nullptr) {
        ZAFOLDAPLdifAttrDelete(pLDIF, "description", nullptr);
    }
    if (changes.pGid != nullptr) {
        ZAFOLDAPLdifAttrReplace(pLDIF, zafo::kGroups.szNumberAttr, "%lu",
                                static_cast<unsigned long>(*changes.pGid));
    }
    if (changes.szNewName != nullptr) {
        zafo::WriteModRDN(pLDIF, szGroupDN, zafo::kGroups.szNameAttr, changes.szNewName);
    }
}

int Edit(const ZAFOLDAP_HOST *pHost, const char *szGroupDN, CHANGES changes) {
    if (KeepWhatDiffers(pHost, szGroupDN, &changes) != 0) return -1;
    if (IsTaken(pHost, changes)) return -1;
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    WriteChanges(file.get(), szGroupDN, changes);
    if (file.Apply(pHost) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", szGroupDN, zafo::PlatformError());
    return -1;
}

}  // namespace

int ZAFOLDAPBrowserGroupEdit(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                             const char *szNewGroupCN, const char *szDesc,
                             const unsigned int *pGid) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost->szBaseDN");
    if (szGroupDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (szNewGroupCN == nullptr && szDesc == nullptr && pGid == nullptr) {
        return ZAFO_BAD_ARGUMENT("szNewGroupCN || szDesc || pGid");
    }
    if (!zafo::IsOneLine(szGroupDN)) return ZAFO_NOT_ONE_LINE("szGroupDN");
    if (!zafo::IsOneLine(szNewGroupCN)) return ZAFO_NOT_ONE_LINE("szNewGroupCN");
    if (!zafo::IsOneLine(szDesc)) return ZAFO_NOT_ONE_LINE("szDesc");

    return zafo::GuardedAloud(__FILE_NAME__, __LINE__, [&] {
        return Edit(pHost, szGroupDN, {szNewGroupCN, szDesc, pGid});
    });
}
