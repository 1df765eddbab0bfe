// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/szlist.h"
#include "zafoldap/result.h"

namespace zafo {

// As ZAFOLDAPResultSet, for a record and texts that are known not to be NULL.
inline int AddPair(ZAFOLDAP_RESULT *result, const char *attribute, const char *value) {
    if (QLIBCSzListPush(&result->plistAttr, attribute) < 0) return -1;
    if (QLIBCSzListPush(&result->plistValue, value) >= 0) return 0;
    QLIBCSzListPop(result->plistAttr);
    return -1;
}

// Replaces the text of the entry's last value, or drops the last pair entirely if the new text
// cannot be stored. 0 or -1.
int ReplaceLastValue(ZAFOLDAP_RESULT *result, const char *value);

}  // namespace zafo
