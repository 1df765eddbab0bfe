/* SPDX-License-Identifier: Apache-2.0
 *
 * Searching a directory: the request, the open search and ready-made searches.
 *
 * A search runs "/usr/zafo/bin/ldapsearch" (ldapsearch(1)) and reads its LDIF
 * (RFC 2849) entry by entry; memory does not grow with the answer, and the size of one entry is
 * limited.
 *
 *     ZAFOLDAP_SEARCH_REQUEST request;
 *     ZAFOLDAP_RESULT entry;
 *     ZAFOLDAPSearchRequestInit(&request, 1);
 *     request.szFilter = "objectClass=posixAccount";
 *     QLIBCSzListPush(&request.plistAttr, "uid");
 *     if (ZAFOLDAPSearchInit(&host, &request, &entry) == 0) {
 *         int found;
 *         while ((found = ZAFOLDAPSearchGetNext(&request, &entry)) == 1)
 *             puts(ZAFOLDAPResultGetFirst(&entry, "uid"));
 *         if (found < 0) report(ZAFOLDAPErrGet());
 *     }
 *     ZAFOLDAPSearchFree(&request, &entry);
 */
#ifndef ZAFOLDAP_SEARCH_H
#define ZAFOLDAP_SEARCH_H

#include <stddef.h>

#include "platform/szlist.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"
#include "zafoldap/result.h"

ZAFOLDAP_BEGIN_DECLS

typedef struct ZAFOLDAP_SEARCH_REQUEST {
    const char *szBase;    /* search base, relative to the host's base DN unless blBaseAsIs;
                              NULL: the host's base DN itself */
    const char *szFilter;  /* filter (RFC 4515), passed as it is; NULL: any entry */
    const char *szExtra;   /* takes the filter's place: NULL unless `szFilter` is NULL */
    const char *szScope;   /* "base", "one", "sub" or "children"; NULL: subtree */
    QLIBSZLIST *plistAttr; /* attributes to return, owned; NULL or empty: all user attributes */
    int blBaseAsIs;        /* 1: `szBase` is a whole DN, and NULL means the root DSE with "base" */
    int nOffset;           /* matching entries to skip */
    int nCount;            /* entries to hand out after them, -1: all; both 0: all */
    int nSizeLimit;        /* size limit asked of the server; 0: none */
} ZAFOLDAP_SEARCH_REQUEST;

/* Zeroes the request; with `blWithAttrList` also makes the attribute list,
 * without it attributes cannot be added. 0; -1 with 0x0D00 or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPSearchRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest, int blWithAttrList);

/* Frees the attribute list and zeroes the request; NULL is accepted. Always 0. */
ZAFOLDAP_API int ZAFOLDAPSearchRequestFree(ZAFOLDAP_SEARCH_REQUEST *pRequest);

/* Copies a request: the strings are shared, the attribute list is copied. `pDst` is
 * overwritten without being freed. 0; -1 with 0x0D00 or 0x0200 (its list is then NULL). */
ZAFOLDAP_API int ZAFOLDAPSearchRequestClone(ZAFOLDAP_SEARCH_REQUEST *pDst,
                                            const ZAFOLDAP_SEARCH_REQUEST *pSrc);

/* Starts a search. `pResult` must be uninitialised or freed; it is
 * initialised here. Call ZAFOLDAPSearchFree in every case afterwards, also
 * after a failure.
 * 0; -1 with platform error 0x0900 (the tool cannot be started), 0x0D00 or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPSearchInit(const ZAFOLDAP_HOST *pHost,
                                    const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                    ZAFOLDAP_RESULT *pResult);

/* Reads the next entry inside the request's window (nOffset, nCount).
 * 1 an entry is in `pResult`; 0 the answer has ended without an error (every later call says so,
 * too).
 * -1 with
 *   library error = LDAP result code  the tool failed with that exit code (also in
 *                         pResult->nExitCode); 4 is a size limit, the entries before it are valid
 *   no error changed      the tool was killed by a signal, or its output makes no sense
 *                         (a line of base64 that does not decode, a continuation of nothing)
 *   platform error 0x0A00 the output cannot be read
 *   platform error 0x0200 out of memory; or a line has more than 16 MiB (a value of 12 MiB in
 *                         base64), or an entry more than 32 MiB, counting 32 bytes per value
 *                         in addition to its text
 *   platform error 0x0D00
 * Base64 values are decoded, but not in a last entry that no blank line ends. References to other
 * servers, which the tool writes as comments, are not entries: they are not followed, not returned
 * and not counted. */
ZAFOLDAP_API int ZAFOLDAPSearchGetNext(const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                       ZAFOLDAP_RESULT *pResult);

/* Ends the search at any point and frees BOTH the request and the result: pass a clone to use a
 * request again. Ending a search early makes the tool stop; its exit code is recorded like any
 * other. NULLs are accepted. Always 0. */
ZAFOLDAP_API int ZAFOLDAPSearchFree(ZAFOLDAP_SEARCH_REQUEST *pRequest, ZAFOLDAP_RESULT *pResult);

/* Writes the command line that ZAFOLDAPSearchInit would run, for logs, cut to the buffer: each
 * item after the first that does not begin with "-" is in single quotes, and nothing is escaped.
 * It shows the bind password. 0; -1 with 0x0D00 or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPSearchBuildRequestCmd(const ZAFOLDAP_HOST *pHost,
                                               const ZAFOLDAP_SEARCH_REQUEST *pRequest, char *szCmd,
                                               size_t cbCmd);

/* Called for each entry. 0 asks for the next one, a positive value ends the search with success,
 * a negative one aborts it. Host and request are the caller's own records, the entry is valid
 * during the call. */
typedef int (*ZAFOLDAP_RESULT_HANDLER)(const ZAFOLDAP_HOST *pHost,
                                       const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                       const ZAFOLDAP_RESULT *pResult, void *pData);

/* Runs a whole search; the caller's request is unchanged. 0, also when the handler ended it; the
 * handler's negative value; -1 as ZAFOLDAPSearchInit and ZAFOLDAPSearchGetNext. */
ZAFOLDAP_API int ZAFOLDAPSearchResultGet(const ZAFOLDAP_HOST *pHost,
                                         const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                         ZAFOLDAP_RESULT_HANDLER pResultHandler, void *pData);

/* The DN and the first value of `szAttr` ("" when it has none) of every entry
 * found, into two parallel lists of the caller's, which are emptied first. With `szAttr` exactly
 * "dn" only DNs are requested, and `pplistValue` may be NULL. The request's own attribute list is
 * ignored.
 * 0; -1 as ZAFOLDAPSearchResultGet (the lists then hold what was received). */
ZAFOLDAP_API int ZAFOLDAPSearchEachValue(const ZAFOLDAP_HOST *pHost,
                                         const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                         const char *szAttr, QLIBSZLIST **pplistDN,
                                         QLIBSZLIST **pplistValue);

/* All values of `szAttr` of the first entry found, into a list of the caller's, which is
 * emptied first; it stays empty when there is no entry or no value.
 * 0; -1 as ZAFOLDAPSearchResultGet. */
ZAFOLDAP_API int ZAFOLDAPSearchMultiValue(const ZAFOLDAP_HOST *pHost,
                                          const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                                          const char *szAttr, QLIBSZLIST **pplistValue);

/* Copies the first value of `szAttr` of the first entry at or below `szDN` (a
 * whole DN) that matches `szFilter` (NULL: any) into `szValue`, cut to the
 * buffer; "" when there is none.
 * The number of values that the attribute has there; -1 as ZAFOLDAPSearchResultGet. */
ZAFOLDAP_API int ZAFOLDAPSearchGetValueByDN(const ZAFOLDAP_HOST *pHost, const char *szDN,
                                            const char *szFilter, const char *szAttr, char *szValue,
                                            size_t cbValue);

/* Sets *pSchema to the bits (zafoldap/object_class.h) of the object classes of the
 * first entry at or below `szDN` that matches `szFilter` (NULL: any); 0 when there is none.
 * Class names are compared whole, ignoring letter case.
 * 0; -1 as ZAFOLDAPSearchResultGet. */
ZAFOLDAP_API int ZAFOLDAPSearchObjectClasses(const ZAFOLDAP_HOST *pHost, const char *szDN,
                                             const char *szFilter, unsigned int *pSchema);

ZAFOLDAP_END_DECLS

#endif
