// SPDX-License-Identifier: Apache-2.0
//
// Argument checks of texts that become lines of a change file.
#pragma once

#include "src/accounts/account_record.h"
#include "src/frame/log.h"

// Reports that a text, named as the log has always shown it, is more than one line; its value is
// -1.
//
//     if (!zafo::IsOneLine(dn)) return ZAFO_NOT_ONE_LINE("szDN");
#define ZAFO_NOT_ONE_LINE(name) ZAFO_BAD_ARGUMENT("NULL == strpbrk(" name ", \"\\r\\n\")")
