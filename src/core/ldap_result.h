// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/szlist.h"
#include "zafoldap/result.h"

namespace zafo {

// As ZAFOLDAPResultSet, of texts and a record that are there.
inline int AddPair(ZAFOLDAP_RESULT *pResult, const char *szAttr, const char *szValue) {
    if (QLIBCSzListPush(&pResult->plistAttr, szAttr) < 0) return -1;
    if (QLIBCSzListPush(&pResult->plistValue, szValue) >= 0) return 0;
    QLIBCSzListPop(pResult->plistAttr);
    return -1;
}

// Replaces the text of the entry's last value, or, when the new text cannot be
// stored, drops the last pair whole. 0 or -1.
int ReplaceLastValue(ZAFOLDAP_RESULT *pResult, const char *szValue);

}  // namespace zafo
