// SPDX-License-Identifier: Apache-2.0
//
// Users and groups are twins: what differs between them is a row here.
#pragma once

#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace zafo {

struct ACCOUNT_KIND {
    const char *szFilter;  // which entries are such accounts (RFC 2307 section 4)
    const char *szNameAttr;
    const char *szNumberAttr;
    const char *szContainer;  // relative to the base DN, when the caller names none
    int nNameTaken;           // library errors
    int nNumberTaken;
    int (*pfnFindByName)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*pfnCountByNumber)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
};

inline constexpr ACCOUNT_KIND kUsers{
    "objectClass=posixAccount",
    "uid",
    "uidNumber",
    "cn=users",
    ZAFOLDAP_ERR_USERNAME_EXISTS,
    ZAFOLDAP_ERR_UID_EXISTS,
    ZAFOLDAPBrowserGetDNByUserUID,
    ZAFOLDAPBrowserUserEnumByUIDNumber,
};
inline constexpr ACCOUNT_KIND kGroups{
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
