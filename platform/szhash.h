/* SPDX-License-Identifier: Apache-2.0
 *
 * QLIBSZHASH: a map from string to string, with case-sensitive keys. The map
 * owns copies of keys and values and does not move. A map filled from a section of a file
 * (platform/file.h) remembers those values, so that storing it back changes only what the caller
 * changed.
 */
#ifndef ZAFO_PLATFORM_SZHASH_H
#define ZAFO_PLATFORM_SZHASH_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

typedef struct QLIBSZHASH QLIBSZHASH;

/* A new empty map; `nCapacity` is a hint. Freed by QLIBCSzHashFree.
 * NULL with 0x0200 on out of memory. */
ZAFO_API QLIBSZHASH *QLIBCSzHashAlloc(int nCapacity);

/* Frees the map; NULL is accepted. */
ZAFO_API void QLIBCSzHashFree(QLIBSZHASH *pHash);

/* The value under `szKey`, valid until the map is changed; NULL when absent. */
ZAFO_API const char *QLIBCSzHashGetValue(const QLIBSZHASH *pHash, const char *szKey);

/* Stores a copy of `szValue` under `szKey`. 0; -1 with 0x0D00 or 0x0200. */
ZAFO_API int QLIBCSzHashSetValue(QLIBSZHASH *pHash, const char *szKey, const char *szValue);

/* Removes a key. 0, also when it was not there; -1 with 0x0D00. */
ZAFO_API int QLIBCSzHashRemoveKey(QLIBSZHASH *pHash, const char *szKey);

ZAFO_END_DECLS

#endif
