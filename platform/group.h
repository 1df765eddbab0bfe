/* SPDX-License-Identifier: Apache-2.0
 *
 * Groups: the record that local and directory groups share, and the
 * appliance's local group database.
 *
 * On an ordinary Linux the local groups are those of "/etc/group" (group(5)) and, where there is
 * one, "/etc/gshadow" (gshadow(5)). Ordinary groups have a number from GID_MIN to GID_MAX of
 * "/etc/login.defs" (1000 to 60000 without it) or from 1000000 to 2097151. Descriptions are in the
 * section "description" of "/usr/zafo/etc/account.conf". platform/user.h says how files are
 * changed.
 */
#ifndef ZAFO_PLATFORM_GROUP_H
#define ZAFO_PLATFORM_GROUP_H

#include <stddef.h>
#include <stdint.h>

#include "platform/szlist.h"

ZAFO_BEGIN_DECLS

#define GID_ERR ((uint32_t)-1) /* no gid; in edits: leave unchanged */

typedef struct ZAFOGROUP {
    char *szName;      /* a directory's "cn" */
    uint32_t nGid;     /* GID_ERR: none */
    char **pszMembers; /* login names, ended by NULL; NULL: none */
    int nType;         /* ZAFO_ACCOUNT_LOCAL or ZAFO_ACCOUNT_DIRECTORY (platform/user.h) */
} ZAFOGROUP;

/* A new record with copies of the name and of the member names (an array
 * ended by NULL, or NULL). *ppGroup is freed first when it is not NULL.
 * 0; -1 with 0x0D00 (no name) or 0x0200. */
ZAFO_API int ZAFOGroupAlloc(ZAFOGROUP **ppGroup, const char *szName, uint32_t nGid,
                            const char *const *pszMembers);

/* Frees a record; NULL is accepted. */
ZAFO_API void ZAFOGroupFree(ZAFOGROUP *pGroup);

/* Appends the names of the ordinary groups of a kind (ZAFO_ACCOUNT_LOCAL) to the list, in the order
 * of the file. Their number; -1 with 0x0D00 (arguments), 0x0900 (no readable "/etc/group") or
 * 0x0200. */
ZAFO_API int ZAFOGroupEnum(QLIBSZLIST **ppList, int nType);

/* The group that has this name or number, including the system's own groups, whose names and
 * numbers count as taken. ZAFOGroupGet, too, asks only the local database. Users whose primary
 * group it is are not listed as members.
 * 0 found; -1 with 0x1800 (no such group), 0x0900, 0x0D00 or 0x0200, and *ppGroup as it was.
 * *ppGroup is replaced and freed by the caller with ZAFOGroupFree; start with NULL. */
ZAFO_API int ZAFOGroupGet(const char *szName, ZAFOGROUP **ppGroup);
ZAFO_API int ZAFOGroupGetLocal(const char *szName, ZAFOGROUP **ppGroup);
ZAFO_API int ZAFOGroupGetLocalByGID(uint32_t gid, ZAFOGROUP **ppGroup);

/* Creates a local group with its members, who need not exist yet; `nFlags` must be 0. Names are
 * those that ZAFOUserSetOne (platform/user.h) accepts, the number is a free one for ordinary
 * groups. The group exists completely or not at all, even if the process is killed.
 * 0; -1 with 0x0D00 (a value is refused, or name or number are taken), 0x0900 (a file cannot be
 * read, or the lock of lckpwdf(3) is held for 15 seconds), 0x0B00 (a file cannot be written),
 * 0x0F00 (account.conf is damaged) or 0x0200. The system log says what was refused. */
ZAFO_API int ZAFOGroupSet(int nFlags, const ZAFOGROUP *pGroup);

/* The description of a local group, empty when it has none, in a buffer grown with realloc (start
 * with NULL and 0; the caller frees it). `*pcbDesc` is the size of the buffer.
 * 0; -1 with 0x1800 (no such group), 0x0900, 0x0F00 (account.conf is damaged), 0x0D00 or 0x0200. */
ZAFO_API int ZAFOGroupDescGet(const char *szName, char **pszDesc, size_t *pcbDesc);

ZAFO_END_DECLS

#endif
