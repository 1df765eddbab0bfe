// SPDX-License-Identifier: Apache-2.0
//
// Used when building without Nettle: the ciphers report that they are not supported.
#include "host/core/fail.h"
#include "platform/crypt.h"

int QLIBCryptSzEncrypt(const char * /*clear*/, char * /*cipher*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBCryptSzDecrypt(const char * /*cipher*/, char * /*clear*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}

int QLIBSmbNtEncrypt(const char * /*clear*/, char * /*hash*/, size_t /*size*/) {
    return zafo::Fail(QLIB_ERR_NOT_SUPPORTED);
}
