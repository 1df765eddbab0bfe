// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "src/accounts/free_number.h"
#include "zafoldap/samba.h"

namespace zafo {

// A pool's bounds, and which entries carry its numbers.
struct IdPool {
    const char *attribute;
    const char *filter;
    NumberRange range;
};

}  // namespace zafo

// The check function (ZAFOLDAP_ATOMIC_CHECK) of the id pools; `context` is a zafo::IdPool.
int ZAFOLDAPIdPoolFindFree(const ZAFOLDAP_HOST *host, uint64_t *value, uint64_t *next,
                           void *context);
