// SPDX-License-Identifier: Apache-2.0
//
// The default account "admin", which is created with the directory administrator's password.
#pragma once

#include <string>

#include "tools/cli/streams.h"

namespace zafo::cli {

// Removes the Samba hashes of that password from it: an NT hash is as good as the password, and
// operators can read those of accounts. A hash of another password stays. Returns whether there was
// one to remove; throws Failure when the server does not answer or refuses.
bool RemoveAdministratorsSambaHash(Streams &streams, const std::string &suffix,
                                   const std::string &password);

}  // namespace zafo::cli
