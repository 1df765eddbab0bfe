// SPDX-License-Identifier: Apache-2.0
//
// Whether a name or number can still be given to an account. Everything but the
// answer "no such entry" means taken, a lookup that failed among it. The kind's library error
// is set then.
#pragma once

#include "src/accounts/account_kind.h"

namespace zafo {

bool IsNameTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, const char *name);
bool IsNumberTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number);

}  // namespace zafo
