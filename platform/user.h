/* SPDX-License-Identifier: Apache-2.0
 *
 * User accounts: the record that local and directory accounts share, and the
 * appliance's local account database.
 *
 * On an ordinary Linux the local users are those of "/etc/passwd" and "/etc/shadow" (passwd(5),
 * shadow(5)), whatever nsswitch.conf(5) adds. Ordinary users, as opposed to the system's own, have
 * a number from UID_MIN to UID_MAX of "/etc/login.defs" (1000 to 60000 without it), or one of those
 * that users get in a directory, 1000000 to 2097151. Mail addresses, and full names that a GECOS
 * field cannot hold, are in the sections "mail" and "full-name" of "/usr/zafo/etc/account.conf"
 * (platform/file.h), Samba hashes in "/usr/zafo/etc/private/smbpasswd" (smbpasswd(5)). Damaged
 * lines are ignored and kept. Changes take the lock of lckpwdf(3), as useradd(8) and passwd(1) do,
 * and replace a file in one step; owner and mode stay.
 */
#ifndef ZAFO_PLATFORM_USER_H
#define ZAFO_PLATFORM_USER_H

#include <stddef.h>
#include <stdint.h>

#include "platform/szlist.h"

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

/* Counts the results of the changes made with it. */
typedef struct QLIBCMRESULT {
    int nDone;   /* accounts changed */
    int nFailed; /* accounts that could not be changed */
    int nError;  /* the platform error of the last of the latter, 0 when there is none */
} QLIBCMRESULT;

/* A new record of zeros, freed by QLIBCMResultFree (NULL is accepted). NULL with 0x0200. */
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

/* Appends the names of the ordinary users of a kind (ZAFO_ACCOUNT_LOCAL) to the list, in the order
 * of the file. Their number; -1 with 0x0D00 (arguments), 0x0900 (no readable "/etc/passwd") or
 * 0x0200. */
ZAFO_API int ZAFOUserEnum(QLIBSZLIST **ppList, int nType);

/* The user who has this name or number, including the system's own accounts, whose names and
 * numbers count as taken. ZAFOUserGet, too, asks only the local database; an appliance's other
 * databases have their own functions. The record's password is the hash as in shadow(5): one of
 * crypt(5), preceded by "!" or "*" when the password is locked. It is never empty: an account that
 * needs no password, and one without a line in "/etc/shadow", has "!". The full name is the first
 * part of the GECOS field, the day of expiry is 0 when there is none, blDisallowChangePasswd is 1
 * while the password is younger than the minimum age.
 * 0 found; -1 with 0x1D00 (no such user), 0x0900 ("/etc/passwd" or "/etc/shadow" is not readable),
 * 0x0F00 ("/usr/zafo/etc/account.conf" is damaged), 0x0D00 or 0x0200, and *ppUser as it was.
 * *ppUser is replaced and freed by the caller with ZAFOUserFree; start with NULL. */
ZAFO_API int ZAFOUserGet(const char *szName, ZAFOUSER **ppUser);
ZAFO_API int ZAFOUserGetLocal(const char *szName, ZAFOUSER **ppUser);
ZAFO_API int ZAFOUserGetLocalByUID(uint32_t uid, ZAFOUSER **ppUser);

/* Creates one local user; `nFlags` must be 0. No home folder is created.
 *   szName     at most 32 bytes, without ":" "," "/" "=" and unfit characters, not a number. Unfit
 *              are control characters of ASCII and Latin-1, line separators, and those that change
 *              the direction of text
 *   szFullname any text; the GECOS field gets blanks in place of ":", "," and unfit characters
 *   szPasswd   a hash of crypt(5), with or without "{crypt}" before it in any letter case; anything
 *              else, including NULL, locks the password
 *   pw_uid     a free number for ordinary users
 *   pw_gid     an ordinary group of "/etc/group", or its group "users"
 *   pw_dir, pw_shell   absolute paths without ":" and unfit characters; NULL or empty: as for
 *              useradd(8)
 *   nExpire    0 or less: never
 *   blDisallowChangePasswd   1: the minimum age of the password is 100000 days
 * A line of "/etc/passwd" has at most 1023 bytes, which is what shadow-utils read; longer ones are
 * refused. The account exists completely or not at all, even if the process is killed; hashes and
 * settings left by an earlier user of the name are removed. pResult (may be NULL) counts the
 * results.
 * 0; -1 with 0x0D00 (a value is refused, or name or number are taken), 0x1800 (no such primary
 * group), 0x0900 (a file cannot be read, or the lock of lckpwdf(3) is held for 15 seconds), 0x0B00
 * (a file cannot be written), 0x0F00 (account.conf is damaged) or 0x0200. The system log says what
 * was refused. */
ZAFO_API int ZAFOUserSetOne(int nFlags, const ZAFOUSER *pUser, QLIBCMRESULT *pResult);

/* Samba hashes of a local user, 32 hexadecimal digits each. A missing hash is returned as 32 times
 * "X", with which Samba accepts no log-in, whether from a file or a directory. A hash is missing if
 * the user has no line among the Samba hashes, or one for another number or with the flag "D"
 * (disabled) or "N" (no password needed).
 * 0; -1 with 0x1D00 (no such user), 0x0E00 (a buffer below 33 bytes; nothing is written), 0x0900,
 * 0x0D00 or 0x0200. */
ZAFO_API int QLIBUserSmbPasswdGet(const char *szName, char *szLmHash, size_t cbLmHash,
                                  char *szNtHash, size_t cbNtHash);

/* Stores ready-made hashes of `nCount` local users, given in parallel arrays. A crypt hash is one
 * that ZAFOUserSetOne accepts; NULL or empty leaves the password as it is. A Samba hash has 32
 * hexadecimal digits; NULL, empty or 32 times "X" stands for none. All are checked before any is
 * stored. An account created by ZAFOUserSetOne has no Samba hashes until this call.
 * 0; -1 with 0x1D00 (no such user), 0x0D00 (not a hash), 0x0900, 0x0B00 or 0x0200. */
ZAFO_API int QLIBUserImportPasswd(const char *const *pszNames, const char *const *pszCryptHashes,
                                  const char *const *pszLmHashes, const char *const *pszNtHashes,
                                  int nCount);

/* How many more ordinary users the appliance allows: "users" in section "limit" of
 * "/usr/zafo/etc/account.conf" (4096 if not set) minus the existing ones; 0 when more exist.
 * -1 with 0x0F00 (the setting is not a number, or the file is damaged), 0x0900 or 0x0200. */
ZAFO_API int QLIBUserNumRemained(void);

ZAFO_END_DECLS

#endif
