// SPDX-License-Identifier: Apache-2.0
//
// The entry of a new group. Runs no tool.
#pragma once

#include <string>

#include "platform/group.h"
#include "platform/szlist.h"
#include "zafoldap/ldif.h"

namespace zafo {

struct NewGroup {
    const ZAFOGROUP *group;
    std::string dn;
    const char *description;  // may be NULL
    std::string sid;          // "": could not be generated
    const QLIBSZLIST *extra;  // may be NULL
};

void WriteGroupRecord(ZAFOLDAP_LDIF *ldif, unsigned int schema, const NewGroup &group);

}  // namespace zafo
