/* SPDX-License-Identifier: Apache-2.0
 *
 * Moving all accounts between the appliance's local database (platform/user.h,
 * platform/group.h) and a directory.
 *
 * Each function copies one account at a time, in the source's order. One that cannot be copied is
 * logged and skipped; nothing is deleted on either side, and copied accounts stay. So a call may be
 * repeated: it adds what is missing.
 *
 * Users need their primary group on an appliance, so groups go there first:
 *
 *     if (ZAFOLDAPBrowserMigrateGroupToLocal(&host) == 0) ZAFOLDAPBrowserMigrateUserToLocal(&host);
 *
 * All four return 0 when they reach the end of the source, even if every account was skipped; -1
 * with 0x0D00, 0x0200, or when the source cannot be listed.
 */
#ifndef ZAFOLDAP_MIGRATE_H
#define ZAFOLDAP_MIGRATE_H

#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Local users to "cn=users" below the base DN, with their password hashes as they are
 * (ZAFOLDAPBrowserUserCreateWithCryptedPass). With sambaSamAccount in the host's nSchema also the
 * Samba hashes; a user whose Samba hashes cannot be read is then skipped. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateUserToLDAP(const ZAFOLDAP_HOST *pHost);

/* Local groups to "cn=groups" below the base DN, with their members and descriptions. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateGroupToLDAP(const ZAFOLDAP_HOST *pHost);

/* Directory users to the local database. "{crypt}" hashes (RFC 2307 section 5.3, any letter case)
 * are kept; a user with any other password gets one made from rand() and the time, hashed with
 * MD5-crypt, and a line in the log. Set another before the account is put to use: anyone who has
 * the hash can try all such passwords. Names and numbers are copied unchanged, even those of system
 * accounts as far as the platform accepts them. With sambaSamAccount in the host's nSchema the
 * Samba hashes are copied together with a kept password. A user whose name or number is taken in
 * the local database is skipped. When no more local accounts are allowed, the call returns -1.
 * Needs szLoginSuffix. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateUserToLocal(const ZAFOLDAP_HOST *pHost);

/* Directory groups to the local database, with the members that "memberUid" names, without their
 * descriptions. One whose name or number is taken there is skipped. Needs szLoginSuffix. */
ZAFOLDAP_API int ZAFOLDAPBrowserMigrateGroupToLocal(const ZAFOLDAP_HOST *pHost);

ZAFOLDAP_END_DECLS

#endif
