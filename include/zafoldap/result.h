/* SPDX-License-Identifier: Apache-2.0
 *
 * One directory entry as ordered (attribute, value) pairs, the first being
 * "dn". A multi-valued attribute occurs once per value, in the server's order.
 * Names are kept as received, options included ("cn;lang-de"); look-ups
 * compare whole names and ignore ASCII letter case. Values are text: a binary
 * value ends at its first zero byte.
 *
 * The record also carries the search that fills it (zafoldap/search.h).
 */
#ifndef ZAFOLDAP_RESULT_H
#define ZAFOLDAP_RESULT_H

#include <stdio.h>

#include "platform/szlist.h"
#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

typedef struct ZAFOLDAP_RESULT {
    FILE *pFile;            /* output of the running search tool; NULL: no search is open */
    int nEntry;             /* entries read so far, skipped ones included */
    QLIBSZLIST *plistAttr;  /* names of the current entry, owned */
    QLIBSZLIST *plistValue; /* values, the same number, owned */
    int nExitCode;          /* the search tool's exit code when it was not 0 */
    int nReserved;          /* copied by clone, not read */
    char szErrFile[256];    /* name of the search's error file, empty: none */
} ZAFOLDAP_RESULT;

/* Zeroes the record and makes both lists. 0; -1 with 0x0D00, or 0x0200 (nothing is kept). */
ZAFOLDAP_API int ZAFOLDAPResultInit(ZAFOLDAP_RESULT *pResult);

/* Replaces the pairs of `pDst` (initialised) with copies of those of `pSrc` and copies nEntry,
 * nExitCode and nReserved. The copy never owns the search. If `pDst` has a search open, that search
 * is lost without being closed, so do not clone into such a record.
 * 0; -1 with 0x0D00, or 0x0200 (the copy is then partial). */
ZAFOLDAP_API int ZAFOLDAPResultClone(ZAFOLDAP_RESULT *pDst, const ZAFOLDAP_RESULT *pSrc);

/* Appends one pair. 0; -1 with 0x0D00 or 0x0200 (nothing is appended). */
ZAFOLDAP_API int ZAFOLDAPResultSet(ZAFOLDAP_RESULT *pResult, const char *szAttr,
                                   const char *szValue);

/* Appends `szValue` to the text of the last value, as an LDIF continuation line
 * does (RFC 2849 note 2). 0; -1 when there is no last value, with 0x0D00, or with 0x0200 (the
 * last pair may then be missing altogether). */
ZAFOLDAP_API int ZAFOLDAPResultConcateAttr(ZAFOLDAP_RESULT *pResult, const char *szValue);

/* The name of pair `index`, counted from 0, and through `pszValue` its value
 * (set to NULL first). Both stay valid until the record is changed or freed.
 * NULL with 0x0D00, also for an index outside the entry. */
ZAFOLDAP_API const char *ZAFOLDAPResultGetAt(const ZAFOLDAP_RESULT *pResult, int index,
                                             const char **pszValue);

/* The number of pairs; -1 with 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPResultGetAttrCount(const ZAFOLDAP_RESULT *pResult);

/* Empties *pplistValues (the caller's list) and appends copies of every value of `szAttr`. Their
 * number, 0 when the entry has none; -1 with 0x0D00, or with 0x0200 (the list is then empty). */
ZAFOLDAP_API int ZAFOLDAPResultGetAll(const ZAFOLDAP_RESULT *pResult, const char *szAttr,
                                      QLIBSZLIST **pplistValues);

/* The first value of `szAttr`, valid until the record is changed or freed; NULL
 * when there is none, or with 0x0D00. The entry's DN is the value of "dn". */
ZAFOLDAP_API const char *ZAFOLDAPResultGetFirst(const ZAFOLDAP_RESULT *pResult, const char *szAttr);

/* Removes all pairs. 0; -1 with 0x0D00, or with the platform's error when it cannot empty a list.
 * */
ZAFOLDAP_API int ZAFOLDAPResultRemoveAll(ZAFOLDAP_RESULT *pResult);

/* Frees both lists, closes a search that is still open and zeroes the record;
 * NULL is accepted. The error file stays; ZAFOLDAPSearchFree removes it. Always 0. */
ZAFOLDAP_API int ZAFOLDAPResultFree(ZAFOLDAP_RESULT *pResult);

ZAFOLDAP_END_DECLS

#endif
