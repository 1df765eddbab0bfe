// SPDX-License-Identifier: Apache-2.0
//
// The default account "admin", which is made with the directory administrator's password.
#pragma once

#include <string>

#include "tools/cli/streams.h"

namespace zafo::cli {

// Takes the Samba hashes of that password away from it: whoever reads an NT hash has as good as the password, and
// operators read those of accounts. A hash of another password stays. Whether there was one to take; throws
// Failure when the server does not answer, or refuses.
bool RemoveAdministratorsSambaHash(Streams &streams, const std::string &suffix,
                                   const std::string &password);

}  // namespace zafo::cli
