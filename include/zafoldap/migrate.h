/* SPDX-License-Identifier: Apache-2.0
 *
 * Moving all accounts between the appliance's local database (platform/user.h,
 * platform/group.h) and a directory.
 *
 * Each function copies account by account, in the source's order. One that cannot be copied is
 * logged and passed over, and the next one follows; nothing is deleted on either side, and what was
 * copied stays. So a call may be repeated: it adds what is missing.
 *
 * Users need their primary group on an appliance, so groups go there first:
 *
 *     if (ZAFOLDAPBrowserMigrateGroupToLocal(&host) == 0) ZAFOLDAPBrowserMigrateUserToLocal(&host);
 *
 * All four return 0 when the source was gone through to its end, also when every account was
 * passed over; -1 with 0x0D00, 0x0200, or when the source cannot be listed.
 */
#ifndef ZAFOLDAP_MIGRATE_H
#define ZAFOLDAP_MIGRATE_H

#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Local users to "cn=users" below the base DN, with their password hashes as they are
 * (ZAFOLDAPBrowserUserCreateWithCryptedPass). With sambaSamAccount in the host's nSchema also the Samba
 * hashes; a user whose Samba hashes cannot be read is passed over then. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateUserToLDAP(const ZAFOLDAP_HOST *pHost);

/* Local groups to "cn=groups" below the base DN, with their members and descriptions. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateGroupToLDAP(const ZAFOLDAP_HOST *pHost);

/* Directory users to the local database. "{crypt}" hashes (RFC 2307 section 5.3, any letter case) are
 * kept; a user with any other password gets one that is made of rand() and the time, hashed with MD5-crypt, and a
 * line in the log: set another before the account matters, whoever has the hash can try out all of them.
 * Names and numbers are taken as they are, a system's own too as far as the platform takes them.
 * With sambaSamAccount in the host's nSchema the Samba hashes go along with a kept password. A user
 * whose name or number is taken in the local database is passed over. When no more local accounts are
 * allowed the call ends with -1. Needs szLoginSuffix. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateUserToLocal(const ZAFOLDAP_HOST *pHost);

/* Directory groups to the local database, with the members that "memberUid" names, without their
 * descriptions. One whose name or number is taken there is passed over. Needs szLoginSuffix. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateGroupToLocal(const ZAFOLDAP_HOST *pHost);

ZAFOLDAP_END_DECLS

#endif
