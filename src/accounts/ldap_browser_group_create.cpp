// SPDX-License-Identifier: Apache-2.0
//
// Adding a group: is the name free, is the number free, one "add" record.
#include <string>

#include "accounts/account_taken.h"
#include "accounts/group_record.h"
#include "accounts/one_line.h"
#include "accounts/password_attributes.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/debug.h"
#include "zafoldap/group.h"
#include "zafoldap/object_class.h"
#include "zafoldap/samba.h"

namespace {

bool IsTaken(const ZAFOLDAP_HOST *pHost, const ZAFOGROUP &group) {
    if (zafo::IsNameTaken(pHost, zafo::kGroups, group.szName)) {
        ZAFO_DEBUG_LOG("group [%s] exists in db.", group.szName);
        return true;
    }
    if (zafo::IsNumberTaken(pHost, zafo::kGroups, group.nGid)) {
        ZAFO_DEBUG_LOG("gid number [%u] exists in db.", group.nGid);
        return true;
    }
    return false;
}

// What cannot be made is written as an empty value.
std::string MakeSid(const ZAFOLDAP_HOST *pHost) {
    char szSID[zafo::kSidSize] = "";
    if ((pHost->nSchema & ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING) != 0) {
        ZAFOLDAPSambaSIDGen(pHost, szSID, sizeof szSID);
    }
    return szSID;
}

int Create(const ZAFOLDAP_HOST *pHost, const ZAFOGROUP *pGroup, const char *szDescription,
           const QLIBSZLIST *plistExtra, const char *szContainer) {
    if (IsTaken(pHost, *pGroup)) return -1;
    const std::string dn =
        zafo::AccountDN(zafo::kGroups.szNameAttr, pGroup->szName, szContainer, pHost->szBaseDN);
    if (!zafo::FitsDN(dn)) return -1;
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    zafo::WriteGroupRecord(file.get(), pHost->nSchema,
                           {.group = pGroup,
                            .dn = dn,
                            .description = szDescription,
                            .sid = MakeSid(pHost),
                            .extra = plistExtra});
    if (file.Apply(pHost) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", pGroup->szName, zafo::PlatformError());
    return -1;
}

}  // namespace

int ZAFOLDAPBrowserGroupCreate(const ZAFOLDAP_HOST *pHost, const ZAFOGROUP *pGroup,
                               const char *szDescription, const QLIBSZLIST *plistExtra,
                               const char *szGroupsContainer) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost->szBaseDN");
    if (pGroup == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pGroup");
    if (pGroup->szName == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pGroup->szName");
    if (pGroup->szName[0] == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != *(pGroup->szName)");
    if (pGroup->nGid == GID_ERR) return ZAFO_BAD_ARGUMENT("GID_ERR != pGroup->nGid");
    if (!zafo::IsOneLine(pGroup->szName)) return ZAFO_NOT_ONE_LINE("pGroup->szName");
    if (!zafo::IsOneLine(szDescription)) return ZAFO_NOT_ONE_LINE("szDescription");
    if (!zafo::IsOneLine(szGroupsContainer)) return ZAFO_NOT_ONE_LINE("szGroupsContainer");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(plistExtra)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(plistExtra)");
    for (char **psz = pGroup->pszMembers; psz != nullptr && *psz != nullptr; ++psz) {
        if (!zafo::IsOneLine(*psz)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(pGroup->pszMembers)");
    }

    const char *szContainer =
        szGroupsContainer != nullptr ? szGroupsContainer : zafo::kGroups.szContainer;
    return zafo::Guarded(
        -1, [&] { return Create(pHost, pGroup, szDescription, plistExtra, szContainer); });
}
