// SPDX-License-Identifier: Apache-2.0
//
// Whether a name or number can still be given to an account. Everything but the
// answer "no such entry" means taken, a lookup that failed among it. The kind's library error
// is set then.
#pragma once

#include "accounts/account_kind.h"

namespace zafo {

bool IsNameTaken(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, const char *szName);
bool IsNumberTaken(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, unsigned int nNumber);

}  // namespace zafo
