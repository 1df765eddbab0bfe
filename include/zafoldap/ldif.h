/* SPDX-License-Identifier: Apache-2.0
 *
 * LDIF change files (RFC 2849): a temporary file that is filled with change records and passed to
 * ZAFOLDAPModify (zafoldap/modify.h).
 *
 *     ZAFOLDAP_LDIF ldif;
 *     ZAFOLDAPLdifInit(&ldif, NULL);
 *     ZAFOLDAPLdifTargetDN(&ldif, "uid=alice,ou=people,dc=example");
 *     ZAFOLDAPLdifChangeType(&ldif, "modify");
 *     ZAFOLDAPLdifAttrReplace(&ldif, "loginShell", "%s", "/bin/sh");
 *     ZAFOLDAPLdifAttrDelete(&ldif, "description", NULL);
 *     int r = ZAFOLDAPModify(&host, &ldif, 0);
 *
 * The plain writers write values unchanged: the caller makes sure that they are safe LDIF text (no
 * line break, no leading blank, colon or "<"). The value format is a printf format: pass values as
 * arguments, never as the format. A writer whose arguments are valid returns 0; errors of the file
 * itself are not reported.
 */
#ifndef ZAFOLDAP_LDIF_H
#define ZAFOLDAP_LDIF_H

#include <stdarg.h>
#include <stdio.h>

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

typedef struct ZAFOLDAP_LDIF {
    FILE *pFile;      /* NULL once closed */
    char szPath[256]; /* emptied by ZAFOLDAPLdifUnlink */
    int nAttr;        /* attribute lines in the whole file */
    int nAttrInEntry; /* attribute lines since the last "dn:" */
    int nEntry;       /* "dn:" lines written by ZAFOLDAPLdifTargetDN */
    int nExitCode;    /* exit code of the tool that refused the file */
} ZAFOLDAP_LDIF;

/* Opens a change file for writing, empty and with mode 0600. `szPath` NULL makes
 * a new name "/tmp/PID_SEQUENCE.ldif": a stale file of that name is removed,
 * and links are not followed. If the name is taken by something that cannot be removed (such as a
 * folder), the next sequence number is tried; after a hundred taken names numbers further on, and
 * no more than a thousand names in all. The log has the reason for a failure. An existing file at
 * a given path (at most 255 characters) is emptied.
 * 0; -1 with 0x0900 (cannot be opened) or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPLdifInit(ZAFOLDAP_LDIF *pLDIF, const char *szPath);

/* Starts a record: an empty line if there is one before, then "dn: DN". */
ZAFOLDAP_API int ZAFOLDAPLdifTargetDN(ZAFOLDAP_LDIF *pLDIF, const char *szDN);

/* "changetype: TYPE": add, modify, delete, modrdn. */
ZAFOLDAP_API int ZAFOLDAPLdifChangeType(ZAFOLDAP_LDIF *pLDIF, const char *szType);

/* A line of the caller's own and a line break. Not counted. */
ZAFOLDAP_API int ZAFOLDAPLdifLine(ZAFOLDAP_LDIF *pLDIF, const char *szFmt, ...)
    ZAFOLDAP_PRINTF(2, 3);

/* "-", when the record already holds an attribute line. */
ZAFOLDAP_API int ZAFOLDAPLdifSepAttr(ZAFOLDAP_LDIF *pLDIF);

/* "NAME: VALUE", of any length. */
ZAFOLDAP_API int ZAFOLDAPLdifAttr(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt,
                                  ...) ZAFOLDAP_PRINTF(3, 4);
ZAFOLDAP_API int ZAFOLDAPLdifVAttr(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt,
                                   va_list args) ZAFOLDAP_PRINTF(3, 0);

/* "NAME:: BASE64". The value is cut to 1023 bytes. The encoded bytes include
 * the final zero, which a server stores with the value. */
ZAFOLDAP_API int ZAFOLDAPLdifAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr,
                                    const char *szValueFmt, ...) ZAFOLDAP_PRINTF(3, 4);
ZAFOLDAP_API int ZAFOLDAPLdifVAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr,
                                     const char *szValueFmt, va_list args) ZAFOLDAP_PRINTF(3, 0);

/* A "replace" modification with one value, after a "-" line if another one precedes it. */
ZAFOLDAP_API int ZAFOLDAPLdifAttrReplace(ZAFOLDAP_LDIF *pLDIF, const char *szAttr,
                                         const char *szValueFmt, ...) ZAFOLDAP_PRINTF(3, 4);

/* A "delete" modification: of one value, or of the whole attribute when
 * `szValueFmt` is NULL. A "-" line separates it from one that precedes it. */
ZAFOLDAP_API int ZAFOLDAPLdifAttrDelete(ZAFOLDAP_LDIF *pLDIF, const char *szAttr,
                                        const char *szValueFmt, ...) ZAFOLDAP_PRINTF(3, 4);

/* 1 when no attribute line was written, or (with 0x0D00) for NULL; else 0. */
ZAFOLDAP_API int ZAFOLDAPLdifIsEmpty(const ZAFOLDAP_LDIF *pLDIF);

/* Flushes and closes the file; a second close does nothing. 0; -1 with 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPLdifClose(ZAFOLDAP_LDIF *pLDIF);

/* Removes the file, unless the debug switch is on, and empties its name.
 * 0; -1 with 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPLdifUnlink(ZAFOLDAP_LDIF *pLDIF);

ZAFOLDAP_END_DECLS

#endif
