/* SPDX-License-Identifier: Apache-2.0
 *
 * Who is in which group.
 *
 * A group lists a member twice: its login name in "memberUid" (RFC 2307) and the
 * DN "uid=NAME,cn=users,BASE" in "member" (RFC 4519 section 2.17), NAME escaped, whatever the user
 * entry's real DN is. A user's primary group is the one with its gidNumber. Functions that need
 * szLoginSuffix of the connection to be set say so.
 *
 * The changes of one call are one change file: ldapmodify(1) stops at the first record that the
 * server refuses, and those before it stay. None of the texts may contain a line break (0x0D00). A
 * value that begins with a blank is written in base64. A name or number of more than 1023 bytes
 * that a lookup finds is refused with 0x0E00.
 */
#ifndef ZAFOLDAP_MEMBERSHIP_H
#define ZAFOLDAP_MEMBERSHIP_H

#include "platform/szlist.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* --- questions ------------------------------------------------------------ */

/* Appends DN and name of the groups that list a user to two parallel lists; either may be
 * NULL. Needs szLoginSuffix.
 * Their number; -1 as ZAFOLDAPSearchGetNext, or 0x0D00; the form that takes a DN also fails with
 * 0x1D00 (no such user). */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEnumByUserUID(const ZAFOLDAP_HOST *pHost,
                                                   const char *szUserUID,
                                                   QLIBSZLIST **ppGroupDNList,
                                                   QLIBSZLIST **ppGroupNameList);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEnumByUserDN(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                                  QLIBSZLIST **ppGroupDNList,
                                                  QLIBSZLIST **ppGroupNameList);

/* Writes the login names of the users whose primary group this is into a list that is emptied
 * first. The group is named by DN, or by name when `szGroupDN` is NULL.
 * Their number; -1 as ZAFOLDAPSearchGetNext, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumByPrimaryGroup(const ZAFOLDAP_HOST *pHost,
                                                       const char *szGroupDN, const char *szGroupCN,
                                                       QLIBSZLIST **ppUserUIDList);

/* Writes the login names that a group lists into a list that is emptied first.
 * Their number; -1 with 0x1800 (no such group), as ZAFOLDAPSearchGetNext, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumByGroupDN(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                                  QLIBSZLIST **ppUserUIDList);

/* Appends the login names of all users that are neither listed in the group nor have it
 * as their primary group (the same rule removes names that were in the list before).
 * 0; -1 as the functions above. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEnumNotInGroupDN(const ZAFOLDAP_HOST *pHost,
                                                     const char *szGroupDN,
                                                     QLIBSZLIST **ppUserUIDList);

/* --- changes -------------------------------------------------------------- */

/* All of them need szLoginSuffix and return 0, or -1 as ZAFOLDAPModify or with
 *   platform error 0x0D00
 *   platform error 0x0B00 the disk has no room for the change file: nothing was changed
 *   platform error 0x0F00 the server gave the DN of a group with a line break in it */

/* Adds a user to the groups of one list of DNs and removes it from those of the other; either may
 * be NULL. Groups that need no change are not touched. The form that takes a DN also fails with
 * 0x1D00 (no such user). */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEditByUserUID(const ZAFOLDAP_HOST *pHost,
                                                   const char *szUserUID,
                                                   const QLIBSZLIST *pAddedGroupDNList,
                                                   const QLIBSZLIST *pRemovedGroupDNList);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEditByUserDN(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                                  const QLIBSZLIST *pAddedGroupDNList,
                                                  const QLIBSZLIST *pRemovedGroupDNList);

/* Adds users to a group and removes others without checking first: the server refuses to add a
 * member (LDAP code 20) or to remove a user who is not one (16), and then nothing is changed. An
 * EMPTY removed list removes EVERY member: pass NULL for none. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserEditByGroupDN(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                                  const QLIBSZLIST *pAddedUserUIDList,
                                                  const QLIBSZLIST *pRemovedUserUIDList);

/* Replaces a user's old name with the new one in every group that lists the old one; a new name of
 * NULL removes the user from them. The form that takes a DN also fails with 0x1D00 (no such user).
 * */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEditWhenUserUIDChange(const ZAFOLDAP_HOST *pHost,
                                                           const char *szUserUID,
                                                           const char *szNewUserUID);
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(const ZAFOLDAP_HOST *pHost,
                                                                   const char *szUserDN,
                                                                   const char *szNewUserUID);

/* Updates the groups after a user's primary group has changed: removes the user from the groups
 * with the old number and adds it to those with the new one; either may be NULL. A number that no
 * group has is ignored. */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEditWhenUserGIDChange(const ZAFOLDAP_HOST *pHost,
                                                           const char *szUserUID,
                                                           const unsigned int *pOldGid,
                                                           const unsigned int *pNewGid);

ZAFOLDAP_END_DECLS

#endif
