/* SPDX-License-Identifier: Apache-2.0
 *
 * Groups: the record that local and directory groups share, and the
 * appliance's local group database.
 */
#ifndef ZAFO_PLATFORM_GROUP_H
#define ZAFO_PLATFORM_GROUP_H

#include "platform/szlist.h"

#include <stddef.h>
#include <stdint.h>

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

/* Appends the names of the groups of a kind (ZAFO_ACCOUNT_LOCAL) to the list.
 * Their number, or -1. */
ZAFO_API int ZAFOGroupEnum(QLIBSZLIST **ppList, int nType);

/* The group of a name or number. 0 found; -1 with 0x1800 (no such group) or another code.
 * *ppGroup is replaced and freed by the caller with ZAFOGroupFree. */
ZAFO_API int ZAFOGroupGet(const char *szName, ZAFOGROUP **ppGroup);
ZAFO_API int ZAFOGroupGetLocal(const char *szName, ZAFOGROUP **ppGroup);
ZAFO_API int ZAFOGroupGetLocalByGID(uint32_t gid, ZAFOGROUP **ppGroup);

/* Creates (or, by flags, changes) a local group with its members. 0 when done. */
ZAFO_API int ZAFOGroupSet(int nFlags, const ZAFOGROUP *pGroup);

/* The description of a local group, in a buffer that grows with realloc
 * (start with NULL and 0; the caller frees it). 0, or -1. */
ZAFO_API int ZAFOGroupDescGet(const char *szName, char **pszDesc, size_t *pcbDesc);

ZAFO_END_DECLS

#endif
