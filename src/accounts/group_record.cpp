// SPDX-License-Identifier: Apache-2.0
//
// posixGroup (RFC 2307), Apple's apple-group, Samba's sambaGroupMapping.
#include "src/accounts/group_record.h"

#include "src/accounts/attribute_group.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

constexpr char kDomainGroup[] = "2";  // SID_NAME_DOM_GRP

void WritePosix(ZAFOLDAP_LDIF *ldif, const NewGroup &group) {
    WriteValue(ldif, "cn", group.group->szName);
    ZAFOLDAPLdifAttr(ldif, "gidNumber", "%lu", static_cast<unsigned long>(group.group->nGid));
    if (group.description != nullptr && group.description[0] != '\0') {
        WriteValue(ldif, "description", group.description);
    }
    for (char **member = group.group->pszMembers; member != nullptr && *member != nullptr;
         ++member) {
        WriteValue(ldif, "memberUid", *member);
    }
}

void WriteSamba(ZAFOLDAP_LDIF *ldif, const NewGroup &group) {
    WriteValue(ldif, "sambaSID", group.sid.c_str());
    WriteFormatText(ldif, "displayName", group.group->szName);
    WriteValue(ldif, "sambaGroupType", kDomainGroup);
    WriteValue(ldif, "objectClass", "sambaGroupMapping");
    WriteValue(ldif, "objectClass", "sambaIdmapEntry");
}

constexpr AttributeGroup<NewGroup> kGroupAttributes[] = {
    {ZAFOLDAP_CLASS_TOP, nullptr, "top"},
    {ZAFOLDAP_CLASS_POSIX_GROUP, WritePosix, "posixGroup"},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, nullptr, "extensibleObject"},
    {ZAFOLDAP_CLASS_APPLE_GROUP, nullptr, "apple-group"},
    {ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING, WriteSamba},
};

}  // namespace

void WriteGroupRecord(ZAFOLDAP_LDIF *ldif, unsigned int schema, const NewGroup &group) {
    WriteNewEntry(ldif, schema, kGroupAttributes, group);
}

}  // namespace zafo
