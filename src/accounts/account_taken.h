// SPDX-License-Identifier: Apache-2.0
//
// Whether a name or number is taken. Any answer except "no such entry" counts as taken, including a
// failed lookup; the kind's library error is then set.
#pragma once

#include "src/accounts/account_kind.h"

namespace zafo {

bool IsNameTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, const char *name);
bool IsNumberTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number);

}  // namespace zafo
