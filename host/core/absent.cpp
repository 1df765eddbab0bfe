// SPDX-License-Identifier: Apache-2.0
//
// Used when building without Nettle and libunistring: the ciphers report that they are not
// supported, and case folding covers only ASCII letters.
#include <strings.h>

#include "host/core/fail.h"
#include "platform/crypt.h"
#include "platform/unicode.h"

int QLIBCryptSzEncrypt(const char * /*clear*/, char * /*cipher*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBCryptSzDecrypt(const char * /*cipher*/, char * /*clear*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBSmbNtEncrypt(const char * /*clear*/, char * /*hash*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBCUnicodeUTF8StrCaseCmp(const char *left, const char *right) {
    if (left == nullptr || right == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return strcasecmp(left, right);
}
