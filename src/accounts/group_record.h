// SPDX-License-Identifier: Apache-2.0
//
// The entry of a new group. No tool runs here.
#pragma once

#include "platform/group.h"
#include "platform/szlist.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct NEW_GROUP {
    const ZAFOGROUP *pGroup;
    const char *szDN;
    const char *szDescription;     // may be NULL
    const char *szSID;             // "": none could be made
    const QLIBSZLIST *plistExtra;  // may be NULL
};

void WriteGroupRecord(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema, const NEW_GROUP &group);

}  // namespace zafo
