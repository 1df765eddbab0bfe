// SPDX-License-Identifier: Apache-2.0
//
// posixGroup (RFC 2307), Apple's apple-group, Samba's sambaGroupMapping.
#include "accounts/group_record.h"

#include "accounts/attribute_group.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

constexpr char kDomainGroup[] = "2";  // SID_NAME_DOM_GRP

void WriteTop(ZAFOLDAP_LDIF *pLDIF, const NewGroup & /*group*/) {
    WriteValue(pLDIF, "objectClass", "top");
}

void WritePosix(ZAFOLDAP_LDIF *pLDIF, const NewGroup &group) {
    WriteValue(pLDIF, "cn", group.group->szName);
    ZAFOLDAPLdifAttr(pLDIF, "gidNumber", "%lu", static_cast<unsigned long>(group.group->nGid));
    if (group.description != nullptr && group.description[0] != '\0') {
        WriteValue(pLDIF, "description", group.description);
    }
    for (char **psz = group.group->pszMembers; psz != nullptr && *psz != nullptr; ++psz) {
        WriteValue(pLDIF, "memberUid", *psz);
    }
    WriteValue(pLDIF, "objectClass", "posixGroup");
}

void WriteExtensible(ZAFOLDAP_LDIF *pLDIF, const NewGroup & /*group*/) {
    WriteValue(pLDIF, "objectClass", "extensibleObject");
}

void WriteApple(ZAFOLDAP_LDIF *pLDIF, const NewGroup & /*group*/) {
    WriteValue(pLDIF, "objectClass", "apple-group");
}

void WriteSamba(ZAFOLDAP_LDIF *pLDIF, const NewGroup &group) {
    WriteValue(pLDIF, "sambaSID", group.sid.c_str());
    WriteFormatText(pLDIF, "displayName", group.group->szName);
    WriteValue(pLDIF, "sambaGroupType", kDomainGroup);
    WriteValue(pLDIF, "objectClass", "sambaGroupMapping");
    WriteValue(pLDIF, "objectClass", "sambaIdmapEntry");
}

constexpr ATTRIBUTE_GROUP<NewGroup> kGroupAttributes[] = {
    {ZAFOLDAP_CLASS_TOP, WriteTop},
    {ZAFOLDAP_CLASS_POSIX_GROUP, WritePosix},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, WriteExtensible},
    {ZAFOLDAP_CLASS_APPLE_GROUP, WriteApple},
    {ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING, WriteSamba},
};

}  // namespace

void WriteGroupRecord(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema, const NewGroup &group) {
    WriteNewEntry(pLDIF, nSchema, kGroupAttributes, group);
}

}  // namespace zafo
