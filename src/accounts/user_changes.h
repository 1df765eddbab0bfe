// SPDX-License-Identifier: Apache-2.0
//
// The change records of an edited user. No tool runs here.
#pragma once

#include <ctime>

#include "platform/user.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct USER_CHANGES {
    const char *szDN;
    const ZAFOUSER *pWanted;  // NULL, UID_ERR and GID_ERR: leave alone
    const int *pBlDisallowChPasswd;
    const long *plExpire;
    const ZAFOUSER *pCurrent;
    unsigned int nClasses;  // that server and entry have both
    const char *szNtHash;   // of the wanted password
    time_t tNow;
    const char *szRDNAttr;  // of the entry that gets another name; NULL: the name stays
};

// A "modify" record and, for another name, a "modrdn" record.
void WriteUserChanges(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes);

}  // namespace zafo
