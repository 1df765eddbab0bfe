// SPDX-License-Identifier: Apache-2.0
//
// Owners of the platform's account records.
#pragma once

#include <memory>

#include "platform/group.h"
#include "platform/user.h"

namespace zafo {

struct FREE_ACCOUNT {
    void operator()(ZAFOUSER *pUser) const { ZAFOUserFree(pUser); }
    void operator()(ZAFOGROUP *pGroup) const { ZAFOGroupFree(pGroup); }
};
using User = std::unique_ptr<ZAFOUSER, FREE_ACCOUNT>;
using Group = std::unique_ptr<ZAFOGROUP, FREE_ACCOUNT>;

}  // namespace zafo
