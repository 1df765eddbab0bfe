// SPDX-License-Identifier: Apache-2.0
//
// The file of saved connections: one section per connection, one key per field.
#pragma once

#include "base/appliance_paths.h"
#include "zafoldap/host.h"

namespace zafo {

constexpr const char *kKeyBindPasswd = "bindpw";
constexpr const char *kKeySSL = "ssl";

struct BrowserConfKey {
    const char *key;
    int attribute;
    const char *ZAFOLDAP_HOST::*field;
};

// The fields that are stored verbatim, in the order in which they are read.
inline constexpr BrowserConfKey kBrowserConfKeys[] = {
    {"uri", LDAP_HOST_ATTR_URI, &ZAFOLDAP_HOST::szUri},
    {"basedn", LDAP_HOST_ATTR_BASEDN, &ZAFOLDAP_HOST::szBaseDN},
    {"binddn", LDAP_HOST_ATTR_BINDDN, &ZAFOLDAP_HOST::szBindDN},
    {"loginsuffix", LDAP_HOST_ATTR_LOGIN_SUFFIX, &ZAFOLDAP_HOST::szLoginSuffix},
};

}  // namespace zafo
