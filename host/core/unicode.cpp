// SPDX-License-Identifier: Apache-2.0
#include "platform/unicode.h"

#include <cstdint>
#include <cstring>

#include <unicase.h>
#include <uninorm.h>
#include <unistr.h>

#include "host/core/fail.h"

int QLIBCUnicodeUTF8StrCaseCmp(const char *left, const char *right) {
    if (left == nullptr || right == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    const auto *a = reinterpret_cast<const uint8_t *>(left);
    const auto *b = reinterpret_cast<const uint8_t *>(right);
    const size_t a_size = std::strlen(left);
    const size_t b_size = std::strlen(right);
    int order = 0;
    // Folding accepts bytes that are not UTF-8.
    if (u8_check(a, a_size) != nullptr || u8_check(b, b_size) != nullptr ||
        u8_casecmp(a, a_size, b, b_size, nullptr, UNINORM_NFC, &order) != 0) {
        return std::strcmp(left, right);
    }
    return order;
}
