// SPDX-License-Identifier: Apache-2.0
//
// The 32-bit host platform has no password cipher: tests that save passwords are skipped there by
// name.
#pragma once

#include <gtest/gtest.h>

#include "platform/crypt.h"
#include "platform/error.h"

namespace zafo::rig {

inline bool PlatformHasCipher() {
    char cipher[64];
    return QLIBCryptSzEncrypt("x", cipher, sizeof cipher) == 0 ||
           QLIBCErrGet() != QLIB_ERR_NOT_SUPPORTED;
}

}  // namespace zafo::rig

#define SKIP_WITHOUT_CIPHER()            \
    if (!zafo::rig::PlatformHasCipher()) \
    GTEST_SKIP() << "the platform of this build has no password cipher"
