// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "platform/ldap.h"
#include "src/frame/log.h"
#include "src/frame/text.h"

namespace zafo {

// The first domain component of a DN; nothing, after a log line under the given source location, if
// it has none.
inline std::optional<std::string> DomainComponent(const char *dn, const char *file,
                                                  int line = __builtin_LINE()) {
    char component[1024] = "";
    if (Ended(component, ZAFOLDAPDNFirstDomainComponent(dn, component, sizeof component)) >= 0) {
        return component;
    }
    syslog(LOG_ERR, "%s:%d ZAFOLDAPDNFirstDomainComponent [%s] failed. [0x%04X]", file, line, dn,
           PlatformError());
    return {};
}

}  // namespace zafo
