// SPDX-License-Identifier: Apache-2.0
//
// The entry of a new user. Runs no tool.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "platform/szlist.h"
#include "platform/user.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct NewUser {
    const ZAFOUSER *user;
    std::string dn;
    std::string password;                // the value of "userPassword"
    std::string sid;                     // "": could not be generated
    std::optional<std::string> nt_hash;  // nothing: no Samba hashes
    time_t now;
    const QLIBSZLIST *extra;  // may be NULL
};

void WriteUserRecord(ZAFOLDAP_LDIF *ldif, unsigned int schema, const NewUser &user);

}  // namespace zafo
