/* SPDX-License-Identifier: Apache-2.0
 *
 * Pools of uid and gid numbers, Samba SIDs, and the counters they are taken
 * from.
 *
 * The pools are four entries below "cn=zafoconf" right under the base DN, each
 * with one uidNumber and one gidNumber: "cn=MinID", "cn=MaxID" (the pool's
 * bounds), "cn=CurID" (the next number to try) and "cn=MaxNum". The Samba domain
 * is "sambaDomainName=DC,BASE", DC being the base DN's first "dc" component, with
 * its "sambaSID" and the counter "sambaNextUserRid".
 *
 * A counter is changed by one modify request that deletes the value read and adds
 * the next one: the server applies both or neither, so of several writers one
 * wins and the others read again. That holds for one writable server; with several
 * writable providers (multi-provider replication) allocate on one of them only. Where one of these
 * DNs would have more than 1023 bytes, a call fails with 0x0E00.
 */
#ifndef ZAFOLDAP_SAMBA_H
#define ZAFOLDAP_SAMBA_H

#include <stddef.h>
#include <stdint.h>

#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Decides which value a counter gives out. On entry *pValue is the value read; the function may
 * replace it with the value to report, and sets *pNext to the counter's new value. A negative
 * result gives up. */
typedef int (*ZAFOLDAP_ATOMIC_CHECK)(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext,
                                     void *pTruck);

/* Replaces the value `szRemoveVal` of an attribute with `szAddVal`, or does nothing when the entry
 * lacks it. None of the texts may contain a line break (0x0D00); one that begins with a blank is
 * written in base64.
 * 0; -1 as ZAFOLDAPModify (library error 16: the value is not there), or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPAtomicRemoveAdd(const ZAFOLDAP_HOST *pHost, const char *szDN,
                                         const char *szAttr, const char *szRemoveVal,
                                         const char *szAddVal);

/* Advances the counter in `szAttr` of the entry `szDN` by 1, or as `pfnCheck` (may be NULL, called
 * with `pTruck`) decides. Makes up to 10 attempts. *pValue becomes the value that was current, or
 * the one the check function put in its place; it is left alone on failure.
 * 0; -1 as ZAFOLDAPSearchGetValueByDN, when the check function gave up, as
 * ZAFOLDAPAtomicRemoveAdd after the tenth lost attempt, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPAtomicIncr(const ZAFOLDAP_HOST *pHost, const char *szDN,
                                    const char *szAttr, uint64_t *pValue,
                                    ZAFOLDAP_ATOMIC_CHECK pfnCheck, void *pTruck);

/* What ZAFOLDAPSambaXidGet and ZAFOLDAPSambaGetIDFromDB read. */
enum {
    ZAFOLDAP_XID_MAX_NUM_UID = 0,
    ZAFOLDAP_XID_MAX_NUM_GID = 1,
    ZAFOLDAP_XID_MIN_UID = 2,
    ZAFOLDAP_XID_MAX_UID = 3,
    ZAFOLDAP_XID_CUR_UID = 4,
    ZAFOLDAP_XID_MIN_GID = 5,
    ZAFOLDAP_XID_MAX_GID = 6,
    ZAFOLDAP_XID_CUR_GID = 7,
    ZAFOLDAP_XID_DOMAIN_SID = 8
};

/* Reads one value of the pools or the domain's SID as text, cut to the buffer, which
 * stays as it was when there is no such entry or value.
 * 0; -1 with 0x0D00, or as ZAFOLDAPSearchGetValueByDN. */
ZAFOLDAP_API int ZAFOLDAPSambaXidGet(const ZAFOLDAP_HOST *pHost, char *szBuf, size_t cbBuf,
                                     int type);

/* The same as a number, decimal; 0 when there is none. *pValue is left alone on failure. */
ZAFOLDAP_API int ZAFOLDAPSambaGetIDFromDB(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, int type);

/* Takes the next free uid or gid number from the pool and advances its counter, whether or not an
 * account is created with it. Numbers already used by an account are skipped; after the highest
 * comes the lowest. Limits that cannot be read are taken to be 0 and 4294967295.
 * The number; -1 when no number of the pool is free (the search for one always ends, wherever the
 * counter is), when the limits make no sense, as ZAFOLDAPAtomicIncr, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPSambaUIDGen(const ZAFOLDAP_HOST *pHost);
ZAFOLDAP_API int ZAFOLDAPSambaGIDGen(const ZAFOLDAP_HOST *pHost);

/* Takes the domain's next relative identifier and writes the whole SID
 * ("S-1-5-21-…-RID"), cut to the buffer; 256 bytes suffice. For a domain entry without a "sambaSID"
 * the result is only "-RID": call ZAFOLDAPSambaXidGet first to see whether it has one.
 * 0; -1 as ZAFOLDAPAtomicIncr, with 0x0F00 (the base DN has no "dc" component), or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPSambaSIDGen(const ZAFOLDAP_HOST *pHost, char *szSID, size_t cbSID);

ZAFOLDAP_END_DECLS

#endif
