// SPDX-License-Identifier: Apache-2.0
//
// Used when building without Nettle: the ciphers report that they are not supported.
#include "host/core/fail.h"
#include "platform/crypt.h"

int QLIBCryptSzEncrypt(const char * /*szClear*/, char * /*szCipher*/, size_t /*cbCipher*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBCryptSzDecrypt(const char * /*szCipher*/, char * /*szClear*/, size_t /*cbClear*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBSmbNtEncrypt(const char * /*szClear*/, char * /*szHash*/, size_t /*cbHash*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}
