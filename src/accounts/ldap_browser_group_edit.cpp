// SPDX-License-Identifier: Apache-2.0
//
// Changes a group's name, description and number with one change file. Members, and users whose
// primary group it is, are left alone.
#include <cstring>

#include "platform/unicode.h"
#include "src/accounts/account_owner.h"
#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/group.h"

namespace {

// One byte more than the longest text that is compared in full, to detect truncation.
constexpr size_t kDescriptionSize = 1025;

// The actual changes; NULL means no change.
struct Changes {
    const char *new_name;
    const char *description;
    const unsigned int *gid;
};

// A description that fills the buffer may be truncated, so it counts as different.
bool IsSameText(const char (&current)[kDescriptionSize], const char *wanted) {
    return std::strcmp(current, wanted) == 0 && std::strlen(current) + 1 < kDescriptionSize;
}

// Reads the group and drops the changes that are not needed. 0 or -1.
int KeepWhatDiffers(const ZAFOLDAP_HOST *host, const char *group_dn, Changes *changes) {
    char description[kDescriptionSize] = "";
    zafo::Group group;
    const int found =
        ZAFOLDAPBrowserGroupGet(host, group_dn, group.Next(), description, sizeof description);
    if (found != 1) return ZAFO_FAILURE("get group %s failed. ", group_dn);
    const char *&new_name = changes->new_name;
    if (new_name != nullptr && QLIBCUnicodeUTF8StrCaseCmp(new_name, group->szName) == 0) {
        new_name = nullptr;
    }
    if (changes->description != nullptr && IsSameText(description, changes->description)) {
        changes->description = nullptr;
    }
    if (changes->gid != nullptr && *changes->gid == group->nGid) changes->gid = nullptr;
    return 0;
}

int CheckFree(const ZAFOLDAP_HOST *host, const Changes &changes) {
    if (changes.new_name != nullptr && zafo::IsNameTaken(host, zafo::kGroups, changes.new_name)) {
        return ZAFO_FAILURE("group %s exists in db.", changes.new_name);
    }
    if (changes.gid != nullptr && zafo::IsNumberTaken(host, zafo::kGroups, *changes.gid)) {
        return ZAFO_FAILURE("gid number %u exists in db.", *changes.gid);
    }
    return 0;
}

void WriteChanges(ZAFOLDAP_LDIF *ldif, const char *group_dn, const Changes &changes) {
    if (changes.description != nullptr || changes.gid != nullptr) {
        ZAFOLDAPLdifTargetDN(ldif, group_dn);
        ZAFOLDAPLdifChangeType(ldif, "modify");
    }
    if (changes.description != nullptr && changes.description[0] != '\0') {
        zafo::ReplaceValue(ldif, "description", changes.description);
    } else if (changes.description != nullptr) {
        ZAFOLDAPLdifAttrDelete(ldif, "description", nullptr);
    }
    if (changes.gid != nullptr) {
        ZAFOLDAPLdifAttrReplace(ldif, zafo::kGroups.number_attribute, "%lu",
                                static_cast<unsigned long>(*changes.gid));
    }
    if (changes.new_name != nullptr) {
        zafo::WriteModRDN(ldif, group_dn, zafo::kGroups.name_attribute, changes.new_name);
    }
}

int Edit(const ZAFOLDAP_HOST *host, const char *group_dn, Changes changes) {
    if (KeepWhatDiffers(host, group_dn, &changes) != 0) return -1;
    if (CheckFree(host, changes) != 0) return -1;
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    WriteChanges(file.get(), group_dn, changes);
    if (file.Apply(host) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify failed [%s] [0x%04X]", group_dn, zafo::PlatformError());
}

}  // namespace

int ZAFOLDAPBrowserGroupEdit(const ZAFOLDAP_HOST *host, const char *group_dn, const char *new_cn,
                             const char *description, const unsigned int *gid) {
    if (!zafo::HasBaseDN(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (new_cn == nullptr && description == nullptr && gid == nullptr) {
        return ZAFO_BAD_ARGUMENT("szNewGroupCN || szDesc || pGid");
    }
    if (!zafo::IsOneLine(group_dn)) return ZAFO_NOT_ONE_LINE("szGroupDN");
    if (!zafo::IsOneLine(new_cn)) return ZAFO_NOT_ONE_LINE("szNewGroupCN");
    if (!zafo::IsOneLine(description)) return ZAFO_NOT_ONE_LINE("szDesc");

    return zafo::GuardedAloud(__FILE_NAME__, __LINE__, [&] {
        return Edit(host, group_dn, {new_cn, description, gid});
    });
}
