// SPDX-License-Identifier: Apache-2.0
#include "platform/unicode.h"

#include <cstdint>
#include <cstring>

#include <unicase.h>
#include <uninorm.h>
#include <unistr.h>

#include "host/core/fail.h"

int QLIBCUnicodeUTF8StrCaseCmp(const char *szA, const char *szB) {
    if (szA == nullptr || szB == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    const auto *a = reinterpret_cast<const uint8_t *>(szA);
    const auto *b = reinterpret_cast<const uint8_t *>(szB);
    const size_t cbA = std::strlen(szA);
    const size_t cbB = std::strlen(szB);
    int order = 0;
    // Folding accepts bytes that are not UTF-8.
    if (u8_check(a, cbA) != nullptr || u8_check(b, cbB) != nullptr ||
        u8_casecmp(a, cbA, b, cbB, nullptr, UNINORM_NFC, &order) != 0) {
        return std::strcmp(szA, szB);
    }
    return order;
}
