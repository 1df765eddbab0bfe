// SPDX-License-Identifier: Apache-2.0
//
// Adding a group: checks that name and number are free, then writes one "add" record.
#include <string>

#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/accounts/group_record.h"
#include "src/accounts/password_attributes.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/group.h"
#include "zafoldap/object_class.h"
#include "zafoldap/samba.h"

namespace {

int CheckFree(const ZAFOLDAP_HOST *host, const ZAFOGROUP &group) {
    if (zafo::IsNameTaken(host, zafo::kGroups, group.szName)) {
        return ZAFO_DEBUG_FAILURE("group [%s] exists in db.", group.szName);
    }
    if (!zafo::IsNumberTaken(host, zafo::kGroups, group.nGid)) return 0;
    return ZAFO_DEBUG_FAILURE("gid number [%u] exists in db.", group.nGid);
}

// An empty value is written if no SID can be generated.
std::string MakeSid(const ZAFOLDAP_HOST *host) {
    char sid[zafo::kSidSize] = "";
    if ((host->nSchema & ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING) != 0) {
        ZAFOLDAPSambaSIDGen(host, sid, sizeof sid);
    }
    return sid;
}

int Create(const ZAFOLDAP_HOST *host, const ZAFOGROUP *group, const char *description,
           const QLIBSZLIST *extra, const char *container) {
    if (CheckFree(host, *group) != 0) return -1;
    const std::string dn =
        zafo::AccountDN(zafo::kGroups.name_attribute, group->szName, container, host->szBaseDN);
    if (!zafo::FitsDN(dn)) return -1;
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    zafo::WriteGroupRecord(file.get(), host->nSchema,
                           {.group = group,
                            .dn = dn,
                            .description = description,
                            .sid = MakeSid(host),
                            .extra = extra});
    if (file.Apply(host) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify failed [%s] [0x%04X]", group->szName,
                        zafo::PlatformError());
}

}  // namespace

int ZAFOLDAPBrowserGroupCreate(const ZAFOLDAP_HOST *host, const ZAFOGROUP *group,
                               const char *description, const QLIBSZLIST *extra,
                               const char *groups_container) {
    if (!zafo::HasBaseDN(host, __FILE_NAME__)) return -1;
    if (group == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pGroup");
    if (group->szName == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pGroup->szName");
    if (group->szName[0] == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != *(pGroup->szName)");
    if (group->nGid == GID_ERR) return ZAFO_BAD_ARGUMENT("GID_ERR != pGroup->nGid");
    if (!zafo::IsOneLine(group->szName)) return ZAFO_NOT_ONE_LINE("pGroup->szName");
    if (!zafo::IsOneLine(description)) return ZAFO_NOT_ONE_LINE("szDescription");
    if (!zafo::IsOneLine(groups_container)) return ZAFO_NOT_ONE_LINE("szGroupsContainer");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(extra)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(plistExtra)");
    for (char **member = group->pszMembers; member != nullptr && *member != nullptr; ++member) {
        if (!zafo::IsOneLine(*member))
            return ZAFO_BAD_ARGUMENT("AreOneLineEach(pGroup->pszMembers)");
    }

    const char *container =
        groups_container != nullptr ? groups_container : zafo::kGroups.container;
    return zafo::Guarded(-1, [&] { return Create(host, group, description, extra, container); });
}
