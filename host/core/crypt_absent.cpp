// SPDX-License-Identifier: Apache-2.0
//
// The ciphers of a build for which there is no Nettle: they say so.
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
