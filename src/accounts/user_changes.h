// SPDX-License-Identifier: Apache-2.0
//
// The change records of an edited user. No tool runs here.
#pragma once

#include <ctime>

#include "platform/user.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct UserChanges {
    const char *dn;
    const ZAFOUSER *wanted;  // NULL, UID_ERR and GID_ERR: leave alone
    const int *disallow_change;
    const long *expire;
    const ZAFOUSER *current;
    unsigned int classes;  // that server and entry have both
    const char *nt_hash;   // of the wanted password
    time_t now;
    const char *rdn_attribute;  // of the entry that gets another name; NULL: the name stays
};

// A "modify" record and, for another name, a "modrdn" record.
void WriteUserChanges(ZAFOLDAP_LDIF *ldif, const UserChanges &changes);

}  // namespace zafo
