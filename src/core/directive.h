// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include "platform/ldap.h"
#include "src/frame/text.h"

namespace zafo {

// Reads a directive of a configuration file: 1; 0 if there is none; -1. When a directive exists,
// some platforms return 1 even if it has no value and others return 0, so the buffer's content
// counts too.
template <size_t N>
int ReadDirective(const char *conf, const char *key, char (&value)[N]) {
    std::memset(value, 0, N);
    const int result = Ended(value, ZAFOLDAPInfoGetFromConf(conf, key, value, N));
    if (result < 0) return -1;
    return result > 0 || value[0] != '\0' ? 1 : 0;
}

}  // namespace zafo
