// SPDX-License-Identifier: Apache-2.0
//
// Used when building without libunistring: case folding covers only ASCII letters.
#include <strings.h>

#include "host/core/fail.h"
#include "platform/unicode.h"

int QLIBCUnicodeUTF8StrCaseCmp(const char *left, const char *right) {
    if (left == nullptr || right == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return strcasecmp(left, right);
}
