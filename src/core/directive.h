// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include "frame/text.h"
#include "platform/ldap.h"

namespace zafo {

// Reads a directive of a configuration file: 1; 0 there is none; -1. Platforms that find one return
// 1, also when it has no value, or 0: then what the buffer holds decides.
template <size_t N>
int ReadDirective(const char *szConf, const char *szKey, char (&szValue)[N]) {
    std::memset(szValue, 0, N);
    const int nResult = Ended(szValue, ZAFOLDAPInfoGetFromConf(szConf, szKey, szValue, N));
    if (nResult < 0) return -1;
    return nResult > 0 || szValue[0] != '\0' ? 1 : 0;
}

}  // namespace zafo
