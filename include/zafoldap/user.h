/* SPDX-License-Identifier: Apache-2.0
 *
 * One POSIX user: reading, creating, changing and deleting the entry.
 *
 * An entry's contents depend on the server's schema, nSchema of the connection: posixAccount,
 * shadowAccount (RFC 2307), person, organizationalPerson (RFC 4519), inetOrgPerson (RFC 2798),
 * apple-user, sambaSamAccount. None of the texts may contain a line break (0x0D00); names may
 * contain any other character and are escaped in DNs (RFC 4514). A value that begins with a blank
 * is written in base64. A DN of more than 1023 bytes, given, made or found, is refused with 0x0E00
 * and never cut.
 */
#ifndef ZAFOLDAP_USER_H
#define ZAFOLDAP_USER_H

#include "platform/szlist.h"
#include "platform/user.h"
#include "zafoldap/api.h"
#include "zafoldap/browser.h"
#include "zafoldap/host.h"
#include "zafoldap/result.h"

ZAFOLDAP_BEGIN_DECLS

/* Reads the user at or below `szUserDN` into a new record, freed by the caller with ZAFOUserFree
 * (*ppUser is overwritten on success without being read: before the call, free a record that it
 * holds). Numbers that the entry lacks, or that 32 bits cannot hold, are UID_ERR and GID_ERR, a
 * missing text is NULL, a missing expiry 0. The record's type is ZAFO_ACCOUNT_DIRECTORY. The flag
 * blDisallowChangePasswd is 1 while today - shadowLastChange is less than shadowMin (days).
 * `pResult` (may be NULL, else initialised) receives the whole entry, freed with
 * ZAFOLDAPResultFree. Needs szLoginSuffix.
 * 1 found; 0 no such user, *ppUser is untouched; -1 as ZAFOLDAPSearchGetNext (library error 32: no
 * such entry), 0x0200 or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserGetEx(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                          ZAFOUSER **ppUser, ZAFOLDAP_RESULT *pResult,
                                          const ZAFOLDAP_BROWSER_OPTIONS *pOptions);
ZAFOLDAP_API int ZAFOLDAPBrowserUserGet(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                        ZAFOUSER **ppUser, ZAFOLDAP_RESULT *pResult);

/* Adds "uid=NAME,CONTAINER,BASE". `szUsersContainer` is relative to the base
 * DN (NULL: "cn=users"). `plistExtra` (may be NULL) holds further attributes as name, value, name,
 * value; in a value "%%" stands for "%".
 *
 * The first form takes a clear password (NULL: none), writes its hash and the Samba hash, asks the
 * server to set it once the entry exists, and creates the home folder (zafoldap/home.h; a failure
 * of that is not reported). The second takes an already crypted password (crypt(5), without
 * "{CRYPT}"; NULL: none), of which 16376 bytes are used.
 * 0; -1 with
 *   library error -65538  the name is taken, or could not be looked up
 *   library error -65540  the number is taken, or could not be looked up
 *   platform error 0x0D00 a bad argument, for example a number of UID_ERR or an empty name
 *   as ZAFOLDAPModify     the server refused the entry
 *   none of these         the entry was added, but the password could not be set */
ZAFOLDAP_API int ZAFOLDAPBrowserUserCreate(const ZAFOLDAP_HOST *pHost, ZAFOUSER *pUser,
                                           const QLIBSZLIST *plistExtra,
                                           const char *szUsersContainer);
ZAFOLDAP_API int ZAFOLDAPBrowserUserCreateWithCryptedPass(const ZAFOLDAP_HOST *pHost,
                                                          ZAFOUSER *pUser,
                                                          const QLIBSZLIST *plistExtra,
                                                          const char *szUsersContainer);

/* Changes the fields set in `pUser`: a NULL text, UID_ERR and GID_ERR leave a field alone, an empty
 * text removes shell, full name or mail. The password is in clear; it is set through the server,
 * and in the Samba and shadow attributes where the entry has them. `pBlDisallowChPasswd` (1: the
 * user may not change the password) and `plExpire` (days since 1 January 1970) are optional. A new
 * name renames the entry and replaces the old name in the groups; one that differs in letter case
 * only is ignored. The mail address needs the class inetOrgPerson, the two optional settings need
 * shadowAccount, both on the server and in the entry: otherwise that change is skipped. Needs
 * szLoginSuffix.
 * 0; -1 with library error -65538 or -65540 (name or number taken), as ZAFOLDAPModify, or 0x0D00.
 * If the groups or the password cannot be changed after the entry was, the entry stays changed. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEdit(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                         const ZAFOUSER *pUser, const int *pBlDisallowChPasswd,
                                         const long *plExpire);

/* Deletes the user who has this login name and removes it from all groups. Needs szLoginSuffix.
 * 0; -1 with 0x1D00 (no such user), with neither slot changed (the name is ambiguous, nothing was
 * deleted), as ZAFOLDAPModify, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserDeleteUser(const ZAFOLDAP_HOST *pHost, const char *szName);

/* Deletes one entry; one with children is refused by the server. In the DN "%%" stands
 * for "%". 0; -1 as ZAFOLDAPModify, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserDeleteDN(const ZAFOLDAP_HOST *pHost, const char *szDN);

ZAFOLDAP_END_DECLS

#endif
