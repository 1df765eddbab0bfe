// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "accounts/free_number.h"
#include "zafoldap/samba.h"

// Which entries carry the numbers of a pool, and the pool's bounds.
struct ZAFOLDAP_ID_POOL {
    const char *szAttr;
    const char *szFilter;
    zafo::NUMBER_RANGE range;
};

// The check function (ZAFOLDAP_ATOMIC_CHECK) of the id pools; `pTruck` is a ZAFOLDAP_ID_POOL.
int ZAFOLDAPIdPoolFindFree(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext,
                           void *pTruck);
