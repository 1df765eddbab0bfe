/* SPDX-License-Identifier: Apache-2.0
 *
 * QLIBSZLIST: a growable list of strings in one block of memory.
 *
 * The list owns copies of its strings. Functions that can grow the list take
 * the address of the caller's list pointer, because the block may move; if they
 * fail, they leave list and pointer as they were. A string returned by
 * QLIBCSzListGet points into the block and stays valid until the list is
 * changed or freed. A string passed to a function may point into the same list. A list belongs to
 * one thread at a time.
 *
 * Adding takes amortised time proportional to the string's length, so a list can hold millions of
 * strings without quadratic cost.
 */
#ifndef ZAFO_PLATFORM_SZLIST_H
#define ZAFO_PLATFORM_SZLIST_H

#include <stddef.h>

#include "platform/api.h"

ZAFO_BEGIN_DECLS

typedef struct QLIBSZLIST {
    int nItem;      /* number of items; the only field that callers read besides nCapacity */
    int nCapacity;  /* the capacity the list was allocated with */
    size_t cbBlock; /* size of the whole block */
    size_t cbText;  /* bytes of text in use, holes included */
    size_t cbHole;  /* bytes of text that no item uses any more */
} QLIBSZLIST;

enum {
    QLIB_SZLIST_SORT_NOCASE = 16 /* sort flag: order of strcasecmp, for QLIBCSzListCaseFind */
};

/* A new empty list. `nCapacity` (bytes of text to reserve at first) is a hint;
 * anything below 1 counts as 1.
 * Returns the list, freed by QLIBCSzListFree; NULL with 0x0200 on out of memory. */
ZAFO_API QLIBSZLIST *QLIBCSzListAlloc(int nCapacity);

/* Frees the list; NULL is accepted. */
ZAFO_API void QLIBCSzListFree(QLIBSZLIST *pList);

/* Appends a copy of `sz`. 0; -1 with 0x0D00 (NULL argument) or 0x0200. */
ZAFO_API int QLIBCSzListPush(QLIBSZLIST **ppList, const char *sz);

/* The string at `nIndex`; NULL with 0x0D00 when the index is outside the list. */
ZAFO_API const char *QLIBCSzListGet(const QLIBSZLIST *pList, int nIndex);

/* Inserts a copy of `sz` before item `nIndex`. An index beyond the end fills
 * the gap with empty strings first. 0; -1 with 0x0D00 or 0x0200. */
ZAFO_API int QLIBCSzListInsert(QLIBSZLIST **ppList, int nIndex, const char *sz);

/* Replaces item `nIndex` by a copy of `sz`. 0; -1 with 0x0D00 or 0x0200. */
ZAFO_API int QLIBCSzListSet(QLIBSZLIST **ppList, int nIndex, const char *sz);

/* Removes item `nIndex`. 0; -1 with 0x0D00. */
ZAFO_API int QLIBCSzListRemove(QLIBSZLIST *pList, int nIndex);

/* Empties the list and keeps its memory. 0; -1 with 0x0D00 for NULL. */
ZAFO_API int QLIBCSzListRemoveAll(QLIBSZLIST *pList);

/* Removes the last item. 0; -1 with 0x0D00 when the list is NULL or empty. */
ZAFO_API int QLIBCSzListPop(QLIBSZLIST *pList);

/* Removes from `pList` every string that `pOther` holds (compared by bytes,
 * or ignoring letter case when `nFlags` is 16), keeping the order of the rest.
 * The time needed grows with the sum of both sizes, not with their product.
 * 1 on success, also when nothing is left; 0 with 0x0D00 or 0x0200. */
ZAFO_API int QLIBCSzListSub(QLIBSZLIST *pList, const QLIBSZLIST *pOther, int nFlags);

/* Index of an item equal to `sz` without regard to ASCII letter case, or -1.
 * The list must have been sorted with QLIB_SZLIST_SORT_NOCASE: the search is binary. */
ZAFO_API int QLIBCSzListCaseFind(const QLIBSZLIST *pList, const char *sz);

/* Sorts the items: by bytes, or as strcasecmp with QLIB_SZLIST_SORT_NOCASE.
 * 0; -1 with 0x0D00. */
ZAFO_API int QLIBCSzListSortItems(QLIBSZLIST *pList, int nFlags);

ZAFO_END_DECLS

#endif
