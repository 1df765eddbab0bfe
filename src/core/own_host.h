// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zafoldap/host.h"

namespace zafo {

// A connection record of the library's own, freed on every path.
class OwnHost {
  public:
    OwnHost() = default;
    OwnHost(const OwnHost &) = delete;
    OwnHost &operator=(const OwnHost &) = delete;
    ~OwnHost() { ZAFOLDAPHostFree(&host); }

    ZAFOLDAP_HOST host{};
};

}  // namespace zafo
