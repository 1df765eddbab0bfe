// SPDX-License-Identifier: Apache-2.0
//
// The entry of a new user. No tool runs here.
#pragma once

#include <ctime>

#include "platform/szlist.h"
#include "platform/user.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct NEW_USER {
    const ZAFOUSER *pUser;  // szPasswd is the value of "userPassword"
    const char *szDN;
    const char *szSID;     // "": none could be made
    const char *szNtHash;  // NULL: no Samba hashes
    time_t tNow;
    const QLIBSZLIST *plistExtra;  // may be NULL
};

void WriteUserRecord(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema, const NEW_USER &user);

}  // namespace zafo
