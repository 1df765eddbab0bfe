// SPDX-License-Identifier: Apache-2.0
//
// Argument checks for texts that become lines of a change file.
#pragma once

#include "src/accounts/account_record.h"
#include "src/frame/log.h"

// Reports that a text, under the name that the log has always shown, is more than one line;
// evaluates to -1.
//
//     if (!zafo::IsOneLine(dn)) return ZAFO_NOT_ONE_LINE("szDN");
#define ZAFO_NOT_ONE_LINE(name) ZAFO_BAD_ARGUMENT("NULL == strpbrk(" name ", \"\\r\\n\")")
