// SPDX-License-Identifier: Apache-2.0
//
// Groups of attributes that belong to an object class. A server that does not know the
// class would refuse the whole entry, so a group is written when the class is there.
#pragma once

#include "accounts/account_record.h"

namespace zafo {

template <class Account>
struct ATTRIBUTE_GROUP {
    unsigned int nClass;  // bit of zafoldap/object_class.h; 0: written always
    void (*pfnWrite)(ZAFOLDAP_LDIF *pLDIF, const Account &account);
};

template <class Account, size_t nGroups>
void WriteGroups(ZAFOLDAP_LDIF *pLDIF, unsigned int nClasses,
                 const ATTRIBUTE_GROUP<Account> (&groups)[nGroups], const Account &account) {
    for (const ATTRIBUTE_GROUP<Account> &group : groups) {
        if ((nClasses & group.nClass) == group.nClass) group.pfnWrite(pLDIF, account);
    }
}

// A whole "add" record. DN and change type are attribute lines: a record without any other is no
// empty change, which would count as done, but one that is refused.
template <class Account, size_t nGroups>
void WriteNewEntry(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema,
                   const ATTRIBUTE_GROUP<Account> (&groups)[nGroups], const Account &account) {
    WriteValue(pLDIF, "dn", account.dn.c_str());
    WriteValue(pLDIF, "changetype", "add");
    WriteGroups(pLDIF, nSchema, groups, account);
    WriteExtra(pLDIF, account.extra);
}

}  // namespace zafo
