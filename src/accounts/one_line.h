// SPDX-License-Identifier: Apache-2.0
//
// Argument checks of texts that become lines of a change file.
#pragma once

#include "accounts/account_record.h"
#include "frame/log.h"

#define REQUIRE_ONE_LINE(szText)                                                  \
    do {                                                                          \
        if (!zafo::IsOneLine(szText)) {                                           \
            return ZAFO_BAD_ARGUMENT("NULL == strpbrk(" #szText ", \"\\r\\n\")"); \
        }                                                                         \
    } while (false)

#define REQUIRE_ONE_LINE_EACH(pList)                                                              \
    do {                                                                                          \
        if (!zafo::AreOneLineEach(pList)) return ZAFO_BAD_ARGUMENT("AreOneLineEach(" #pList ")"); \
    } while (false)
