// SPDX-License-Identifier: Apache-2.0
//
// Groups of attributes, each part of an object class. A server that does not know the class would
// reject the whole entry, so a group is written only if the server has the class.
#pragma once

#include "src/accounts/account_record.h"

namespace zafo {

template <class Account>
struct AttributeGroup {
    unsigned int object_class;  // bit from zafoldap/object_class.h; 0: always written
    void (*write)(ZAFOLDAP_LDIF *ldif, const Account &account);  // NULL: no attributes
    const char *class_name = nullptr;  // the "objectClass" value that follows them, if any
};

template <class Account, size_t count>
void WriteGroups(ZAFOLDAP_LDIF *ldif, unsigned int classes,
                 const AttributeGroup<Account> (&groups)[count], const Account &account) {
    for (const AttributeGroup<Account> &group : groups) {
        if ((classes & group.object_class) != group.object_class) continue;
        if (group.write != nullptr) group.write(ldif, account);
        if (group.class_name != nullptr) WriteValue(ldif, "objectClass", group.class_name);
    }
}

// Writes an "add" record. DN and change type count as attribute lines, so a record with nothing
// else is rejected by the server rather than taken for an empty change that is already done.
template <class Account, size_t count>
void WriteNewEntry(ZAFOLDAP_LDIF *ldif, unsigned int schema,
                   const AttributeGroup<Account> (&groups)[count], const Account &account) {
    WriteValue(ldif, "dn", account.dn.c_str());
    WriteValue(ldif, "changetype", "add");
    WriteGroups(ldif, schema, groups, account);
    WriteExtra(ldif, account.extra);
}

}  // namespace zafo
