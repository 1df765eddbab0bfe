/* SPDX-License-Identifier: Apache-2.0
 *
 * User accounts: the record that local and directory accounts share, and the
 * appliance's local account database.
 */
#ifndef ZAFO_PLATFORM_USER_H
#define ZAFO_PLATFORM_USER_H

#include "platform/szlist.h"

#include <stddef.h>
#include <stdint.h>

ZAFO_BEGIN_DECLS

#define UID_ERR ((uint32_t)-1) /* no uid; in edits: leave unchanged */

enum {
    ZAFO_ACCOUNT_LOCAL = 1,    /* account of the local database */
    ZAFO_ACCOUNT_DIRECTORY = 8 /* account read from a directory */
};

typedef struct ZAFOUSER {
    char *szName;               /* login name; a directory's "uid" */
    char *szPasswd;             /* clear or crypted, as the function says */
    uint32_t pw_uid;            /* UID_ERR: none */
    uint32_t pw_gid;            /* GID_ERR: none */
    char *szFullname;           /* a directory's "gecos" */
    char *pw_dir;               /* home folder */
    char *pw_shell;             /* login shell */
    long nExpire;               /* days since 1 January 1970; a directory's "shadowExpire" */
    int blDisallowChangePasswd; /* 1: the user may not change the password */
    char *szMail;               /* mail address */
    int nType;                  /* ZAFO_ACCOUNT_LOCAL or ZAFO_ACCOUNT_DIRECTORY */
} ZAFOUSER;

/* Result record of a change that touches several accounts. */
typedef struct QLIBCMRESULT QLIBCMRESULT;

ZAFO_API QLIBCMRESULT *QLIBCMResultAlloc(void);
ZAFO_API void QLIBCMResultFree(QLIBCMRESULT *pResult);

/* A new record with copies of the given strings (NULL stays NULL), type
 * ZAFO_ACCOUNT_LOCAL. *ppUser is freed first when it is not NULL.
 * 0; -1 with 0x0D00 (no name) or 0x0200. */
ZAFO_API int ZAFOUserAlloc(ZAFOUSER **ppUser, const char *szName, const char *szPasswd,
                           uint32_t pw_uid, uint32_t pw_gid, const char *szFullname,
                           const char *pw_dir, const char *pw_shell, long nExpire,
                           int blDisallowChangePasswd, const char *szMail);

/* Frees a record; NULL is accepted. */
ZAFO_API void ZAFOUserFree(ZAFOUSER *pUser);

/* Appends the names of the accounts of a kind (ZAFO_ACCOUNT_LOCAL) to the list.
 * Their number, or -1. */
ZAFO_API int ZAFOUserEnum(QLIBSZLIST **ppList, int nType);

/* The account of a name. 0 found; -1 with 0x1D00 (no such user) or another code.
 * *ppUser is replaced and freed by the caller with ZAFOUserFree. */
ZAFO_API int ZAFOUserGet(const char *szName, ZAFOUSER **ppUser);
ZAFO_API int ZAFOUserGetLocal(const char *szName, ZAFOUSER **ppUser);
ZAFO_API int ZAFOUserGetLocalByUID(uint32_t uid, ZAFOUSER **ppUser);

/* Creates (or, by flags, changes) one local account. 0 when done. */
ZAFO_API int ZAFOUserSetOne(int nFlags, const ZAFOUSER *pUser, QLIBCMRESULT *pResult);

/* Samba hashes of a local account, 32 hexadecimal digits each. 0, or -1. */
ZAFO_API int QLIBUserSmbPasswdGet(const char *szName, char *szLmHash, size_t cbLmHash,
                                  char *szNtHash, size_t cbNtHash);

/* Stores ready-made hashes of `nCount` local accounts, parallel arrays. 0, or -1. */
ZAFO_API int QLIBUserImportPasswd(const char *const *pszNames, const char *const *pszCryptHashes,
                                  const char *const *pszLmHashes, const char *const *pszNtHashes,
                                  int nCount);

/* How many more local accounts the appliance allows; negative on failure. */
ZAFO_API int QLIBUserNumRemained(void);

ZAFO_END_DECLS

#endif
