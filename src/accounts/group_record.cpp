// SPDX-License-Identifier: Apache-2.0
//
// posixGroup (RFC 2307), Apple's apple-group, Samba's sambaGroupMapping.
#include "accounts/group_record.h"

#include "accounts/attribute_group.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

constexpr char kDomainGroup[] = "2";  // SID_NAME_DOM_GRP

void WriteTop(ZAFOLDAP_LDIF *pLDIF, const NEW_GROUP & /*group*/) {
    WriteValue(pLDIF, "objectClass", "top");
}

void WritePosix(ZAFOLDAP_LDIF *pLDIF, const NEW_GROUP &group) {
    WriteValue(pLDIF, "cn", group.pGroup->szName);
    ZAFOLDAPLdifAttr(pLDIF, "gidNumber", "%lu", static_cast<unsigned long>(group.pGroup->nGid));
    if (group.szDescription != nullptr && group.szDescription[0] != '\0') {
        WriteValue(pLDIF, "description", group.szDescription);
    }
    for (char **psz = group.pGroup->pszMembers; psz != nullptr && *psz != nullptr; ++psz) {
        WriteValue(pLDIF, "memberUid", *psz);
    }
    WriteValue(pLDIF, "objectClass", "posixGroup");
}

void WriteExtensible(ZAFOLDAP_LDIF *pLDIF, const NEW_GROUP & /*group*/) {
    WriteValue(pLDIF, "objectClass", "extensibleObject");
}

void WriteApple(ZAFOLDAP_LDIF *pLDIF, const NEW_GROUP & /*group*/) {
    WriteValue(pLDIF, "objectClass", "apple-group");
}

void WriteSamba(ZAFOLDAP_LDIF *pLDIF, const NEW_GROUP &group) {
    WriteValue(pLDIF, "sambaSID", group.szSID);
    WriteFormatText(pLDIF, "displayName", group.pGroup->szName);
    WriteValue(pLDIF, "sambaGroupType", kDomainGroup);
    WriteValue(pLDIF, "objectClass", "sambaGroupMapping");
    WriteValue(pLDIF, "objectClass", "sambaIdmapEntry");
}

constexpr ATTRIBUTE_GROUP<NEW_GROUP> kGroups[] = {
    {ZAFOLDAP_CLASS_TOP, WriteTop},
    {ZAFOLDAP_CLASS_POSIX_GROUP, WritePosix},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, WriteExtensible},
    {ZAFOLDAP_CLASS_APPLE_GROUP, WriteApple},
    {ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING, WriteSamba},
};

}  // namespace

void WriteGroupRecord(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema, const NEW_GROUP &group) {
    WriteNewEntry(pLDIF, nSchema, kGroups, group);
}

}  // namespace zafo
