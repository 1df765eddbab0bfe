// SPDX-License-Identifier: Apache-2.0
#include "platform/unicode.h"

#include "host/core/fail.h"

#include <unicase.h>
#include <uninorm.h>

#include <cstdint>
#include <cstring>

int QLIBCUnicodeUTF8StrCaseCmp(const char *szA, const char *szB) {
    if (szA == nullptr || szB == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    int order = 0;
    if (u8_casecmp(reinterpret_cast<const uint8_t *>(szA), std::strlen(szA),
                   reinterpret_cast<const uint8_t *>(szB), std::strlen(szB), nullptr, UNINORM_NFC,
                   &order) != 0) {
        return std::strcmp(szA, szB);
    }
    return order;
}
