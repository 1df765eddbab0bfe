/* SPDX-License-Identifier: Apache-2.0
 *
 * Proposals for new accounts and new connections.
 */
#ifndef ZAFOLDAP_SUGGEST_H
#define ZAFOLDAP_SUGGEST_H

#include "platform/szlist.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* A number for a new user or group. On the appliance's own kind of server
 * (nServerType 1) it is taken from the pool (zafoldap/samba.h) and not given out again; elsewhere
 * it is one more than the highest in use, at least 1027, and nothing is reserved.
 * The number; -1 as ZAFOLDAPSambaUIDGen or ZAFOLDAPSearchResultGet, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserSuggestUid(const ZAFOLDAP_HOST *pHost);
ZAFOLDAP_API int ZAFOLDAPBrowserSuggestGid(const ZAFOLDAP_HOST *pHost);

/* Appends the server's naming contexts (RFC 4512 section 5.1) to a list of the
 * caller's. Only `szUri` and `nSSLType` of the record are used: the query is anonymous. 0, also
 * with nothing found when the server refuses anonymous queries (LDAP codes 47 to 50); -1 as
 * ZAFOLDAPSearchGetNext. */
ZAFOLDAP_API int ZAFOLDAPBrowserSuggestBaseDN(const ZAFOLDAP_HOST *pHost,
                                              QLIBSZLIST **pplistBaseDN);

ZAFOLDAP_END_DECLS

#endif
