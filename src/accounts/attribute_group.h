// SPDX-License-Identifier: Apache-2.0
//
// Groups of attributes that belong to an object class. A server that does not know the
// class would refuse the whole entry, so a group is written when the class is there.
#pragma once

#include "src/accounts/account_record.h"

namespace zafo {

template <class Account>
struct AttributeGroup {
    unsigned int object_class;  // bit of zafoldap/object_class.h; 0: written always
    void (*write)(ZAFOLDAP_LDIF *ldif, const Account &account);
};

template <class Account, size_t count>
void WriteGroups(ZAFOLDAP_LDIF *ldif, unsigned int classes,
                 const AttributeGroup<Account> (&groups)[count], const Account &account) {
    for (const AttributeGroup<Account> &group : groups) {
        if ((classes & group.object_class) == group.object_class) group.write(ldif, account);
    }
}

// A whole "add" record. DN and change type are attribute lines: a record without any other is no
// empty change, which would count as done, but one that is refused.
template <class Account, size_t count>
void WriteNewEntry(ZAFOLDAP_LDIF *ldif, unsigned int schema,
                   const AttributeGroup<Account> (&groups)[count], const Account &account) {
    WriteValue(ldif, "dn", account.dn.c_str());
    WriteValue(ldif, "changetype", "add");
    WriteGroups(ldif, schema, groups, account);
    WriteExtra(ldif, account.extra);
}

}  // namespace zafo
