/* SPDX-License-Identifier: Apache-2.0
 *
 * Finding, listing and counting POSIX users and groups (RFC 2307), and checking that a
 * connection can be used for them.
 *
 * A user is an entry with the class posixAccount, its name is "uid", its number "uidNumber"; a
 * group is one with posixGroup, its name is "cn", its number "gidNumber". Names are put into
 * filters unchanged: "*" matches anything, and a caller that passes on untrusted input escapes it
 * first (RFC 4515 section 3). Lists are in the server's order. Functions that take a list only
 * append, unless they say otherwise, and what came before a failure stays in it.
 */
#ifndef ZAFOLDAP_BROWSER_H
#define ZAFOLDAP_BROWSER_H

#include <stddef.h>

#include "platform/szlist.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"
#include "zafoldap/search.h"

ZAFOLDAP_BEGIN_DECLS

/* How to recognise a user; a NULL record or member means the default. */
typedef struct ZAFOLDAP_BROWSER_OPTIONS {
    const char *szFilter;   /* instead of "objectClass=posixAccount" */
    const char *szNameAttr; /* attribute of the login name instead of "uid" */
} ZAFOLDAP_BROWSER_OPTIONS;

/* --- from a name to a DN -------------------------------------------------- */

/* Searches below the base DN and writes the DN of the LAST entry that matches into `szDN`, cut to
 * the buffer, which is left untouched when none matches. `szDN` NULL or `cbDN` 0: only count.
 * The number of matching entries; a caller that needs a unique one compares it with 1.
 * -1 as ZAFOLDAPSearchGetNext, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserGetFirstDN(const ZAFOLDAP_HOST *pHost, const char *szFilter,
                                           char *szDN, size_t cbDN);

/* The same for the user with a login name, or the group with a name. If the name makes the filter
 * longer than 2047 bytes, the call is refused with 0x0E00. */
ZAFOLDAP_API int ZAFOLDAPBrowserGetDNByUserUIDEx(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                                 char *szDN, size_t cbDN,
                                                 const ZAFOLDAP_BROWSER_OPTIONS *pOptions);
ZAFOLDAP_API int ZAFOLDAPBrowserGetDNByUserUID(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                               char *szDN, size_t cbDN);
ZAFOLDAP_API int ZAFOLDAPBrowserGetDNByGroupCN(const ZAFOLDAP_HOST *pHost, const char *szGroupCN,
                                               char *szDN, size_t cbDN);

/* --- from a DN to a name -------------------------------------------------- */

/* The login name of the user, or the name of the group, at or below `szDN`, cut to the buffer.
 * 1 found; 0 not found ("" in the buffer), -1 as ZAFOLDAPSearchGetValueByDN (library error 32: no
 * such entry) and for an entry with several names. */
ZAFOLDAP_API int ZAFOLDAPPosixGetUserUID(const ZAFOLDAP_HOST *pHost, const char *szDN, char *szBuf,
                                         size_t cbBuf);
ZAFOLDAP_API int ZAFOLDAPPosixGetGroupCN(const ZAFOLDAP_HOST *pHost, const char *szDN, char *szBuf,
                                         size_t cbBuf);

/* --- lists ---------------------------------------------------------------- */

/* Requests for searches of the caller's own: all users with dn, cn, uid, gecos,
 * shadowExpire and mail; all groups with dn, cn and description. Free with
 * ZAFOLDAPSearchRequestFree, also after a failure. 0; -1 with 0x0D00 or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest);

/* Appends the DN and the name of every user or group to two parallel lists; either
 * may be NULL. Entries without a name are skipped.
 * Their number; -1 as ZAFOLDAPSearchGetNext, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumAll(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppUserDNList,
                                            QLIBSZLIST **ppUserUIDList);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEnumAll(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppGroupDNList,
                                             QLIBSZLIST **ppGroupCNList);

/* Appends the DNs of the users or groups that have a number. The list may be NULL.
 * Their number, 0 when it is free; -1 as ZAFOLDAPSearchGetNext, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumByUIDNumber(const ZAFOLDAP_HOST *pHost, unsigned int uid,
                                                    QLIBSZLIST **ppUserDNList);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEnumByGIDNumber(const ZAFOLDAP_HOST *pHost, unsigned int gid,
                                                     QLIBSZLIST **ppGroupDNList);

/* The number of users (`szSubject` "user") or groups ("group"), counted as they are read.
 * -1 as ZAFOLDAPSearchGetNext, or for another subject. */
ZAFOLDAP_API int ZAFOLDAPBrowserStatUGNum(const ZAFOLDAP_HOST *pHost, const char *szSubject);

/* --- checks --------------------------------------------------------------- */

/* Whether users can be listed; a directory without users passes. The library error is
 * cleared on success. 0; -1 as ZAFOLDAPSearchGetNext. */
ZAFOLDAP_API int ZAFOLDAPPosixCheckEnumUser(const ZAFOLDAP_HOST *pHost);

/* Whether users can be listed and the schema can be read. `pHost` NULL: the appliance's own
 * client binding, of which the schema is not checked.
 * 0; -1 as ZAFOLDAPPosixCheckEnumUser, with library error -65537 (the schema cannot be
 * read), or with no error set when the appliance is not bound. */
ZAFOLDAP_API int ZAFOLDAPClientCheckBindInfo(const ZAFOLDAP_HOST *pHost);

/* Whether users can be listed and the schema has posixAccount, posixGroup, inetOrgPerson and
 * shadowAccount; classes already set in the record's nSchema count as the server's. `pHost` NULL:
 * the saved connection `szSection`.
 * 0, but with library error -65537 set when the schema lacks one of them: clear the slot before
 * the call and look at it afterwards. Negative as ZAFOLDAPPosixCheckEnumUser, or when the saved
 * connection cannot be used. */
ZAFOLDAP_API int ZAFOLDAPBrowserCheckBindInfo(ZAFOLDAP_HOST *pHost, const char *szSection);

ZAFOLDAP_END_DECLS

#endif
