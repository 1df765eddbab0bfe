// SPDX-License-Identifier: Apache-2.0
//
// Variadic wrappers for the writers that take a va_list.
#pragma once

#include <cstdarg>

#include "zafoldap/ldif.h"

namespace zafo::core_test {

inline int VAttr(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ZAFOLDAPLdifVAttr(ldif, attribute, format, args);
    va_end(args);
    return result;
}

inline int VAttr64(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ZAFOLDAPLdifVAttr64(ldif, attribute, format, args);
    va_end(args);
    return result;
}

}  // namespace zafo::core_test
