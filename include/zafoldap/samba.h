/* SPDX-License-Identifier: Apache-2.0
 *
 * Pools of uid and gid numbers, Samba SIDs, and the counters they are drawn
 * from.
 */
#ifndef ZAFOLDAP_SAMBA_H
#define ZAFOLDAP_SAMBA_H

#include "zafoldap/api.h"
#include "zafoldap/host.h"

#include <stdint.h>

/* Decides what a counter hands out. On entry *pValue is the value read; the
 * function may replace it by the value to report and sets *pNext to the value
 * the counter is to take. A negative result gives up. */
typedef int (*ZAFOLDAP_ATOMIC_CHECK)(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext,
                                     void *pTruck);

#endif
