// SPDX-License-Identifier: Apache-2.0
//
// Users and groups are handled alike; the rows here hold the differences.
#pragma once

#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace zafo {

struct AccountKind {
    const char *filter;  // matches such accounts (RFC 2307 section 4)
    const char *name_attribute;
    const char *number_attribute;
    const char *container;  // relative to the base DN; used if the caller names none
    int name_taken;         // library errors
    int number_taken;
    int (*find_by_name)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*count_by_number)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
};

inline constexpr AccountKind kUsers{
    "objectClass=posixAccount",
    "uid",
    "uidNumber",
    "cn=users",
    ZAFOLDAP_ERR_USERNAME_EXISTS,
    ZAFOLDAP_ERR_UID_EXISTS,
    ZAFOLDAPBrowserGetDNByUserUID,
    ZAFOLDAPBrowserUserEnumByUIDNumber,
};
inline constexpr AccountKind kGroups{
    "objectClass=posixGroup",
    "cn",
    "gidNumber",
    "cn=groups",
    ZAFOLDAP_ERR_GROUPNAME_EXISTS,
    ZAFOLDAP_ERR_GID_EXISTS,
    ZAFOLDAPBrowserGetDNByGroupCN,
    ZAFOLDAPBrowserGroupEnumByGIDNumber,
};

}  // namespace zafo
