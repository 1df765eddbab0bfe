/* SPDX-License-Identifier: Apache-2.0
 *
 * One POSIX group: reading, creating, changing and deleting the entry. The rules of zafoldap/user.h
 * apply to texts and DNs; the DN of a group to be changed may have any length. Members are in
 * zafoldap/membership.h.
 */
#ifndef ZAFOLDAP_GROUP_H
#define ZAFOLDAP_GROUP_H

#include <stddef.h>

#include "platform/group.h"
#include "platform/szlist.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Reads the group at or below `szGroupDN` into a new record of type ZAFO_ACCOUNT_DIRECTORY; a
 * missing number is GID_ERR. The caller frees it with ZAFOGroupFree (*ppGroup is overwritten on
 * success without being read: before the call, free a record that it holds). The description is
 * written into `szDescription`, cut to the buffer, which is left alone when there is none. Needs
 * szLoginSuffix.
 * 1 found; 0 no such group; -1 as ZAFOLDAPSearchGetNext (library error 32: no such entry),
 * 0x0200 or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupGet(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                         ZAFOGROUP **ppGroup, char *szDescription,
                                         size_t cbDescription);

/* Adds "cn=NAME,CONTAINER,BASE" with the record's number and members (memberUid). `szDescription`
 * and `plistExtra` (see ZAFOLDAPBrowserUserCreate) may be NULL; `szGroupsContainer` NULL means
 * "cn=groups".
 * 0; -1 with library error -65539 (the name is taken, or could not be looked up), -65541 (the same
 * of the number), as ZAFOLDAPModify, or 0x0D00 (for example a number of GID_ERR or an empty name).
 * */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupCreate(const ZAFOLDAP_HOST *pHost, const ZAFOGROUP *pGroup,
                                            const char *szDescription, const QLIBSZLIST *plistExtra,
                                            const char *szGroupsContainer);

/* Changes a group's name, description ("" removes it) and number; NULL leaves one alone, and at
 * least one must be given. A name that differs in letter case only is ignored. Users whose primary
 * group this is keep the old number. Needs szLoginSuffix.
 * 0; -1 with library error -65539 or -65541 (name or number taken), as ZAFOLDAPModify, or 0x0D00.
 * */
ZAFOLDAP_API int ZAFOLDAPBrowserGroupEdit(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                          const char *szNewGroupCN, const char *szDesc,
                                          const unsigned int *pGid);

/* Deletes the group that has this name; users and other groups do not change.
 * 0; -1 with 0x1800 (no such group), with neither slot changed (the name is ambiguous, nothing was
 * deleted), as ZAFOLDAPModify, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserDeleteGroup(const ZAFOLDAP_HOST *pHost, const char *szName);

ZAFOLDAP_END_DECLS

#endif
