// SPDX-License-Identifier: Apache-2.0
//
// The change records for editing a user. Runs no tool.
#pragma once

#include <ctime>

#include "platform/user.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct UserChanges {
    const char *dn;
    const ZAFOUSER *wanted;  // NULL, UID_ERR and GID_ERR mean no change
    const int *disallow_change;
    const long *expire;
    const ZAFOUSER *current;
    unsigned int classes;  // supported by the server and present in the entry
    const char *nt_hash;   // of the wanted password
    time_t now;
    const char *rdn_attribute;  // of a renamed entry; NULL: the name stays
};

// Writes a "modify" record and, for a new name, a "modrdn" record.
void WriteUserChanges(ZAFOLDAP_LDIF *ldif, const UserChanges &changes);

}  // namespace zafo
