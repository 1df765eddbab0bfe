/* SPDX-License-Identifier: Apache-2.0
 *
 * Periodic commands.
 */
#ifndef ZAFO_PLATFORM_SCHEDULE_H
#define ZAFO_PLATFORM_SCHEDULE_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* When to run a command; the six numbers are written in files as
 * "1,4,0,4,0,0". */
typedef struct ZAFOSCHEDULE {
    int rgField[6];
    char szCommand[1024];
} ZAFOSCHEDULE;

/* Registers the command, replacing an entry with the same command.
 * `nFlags` must be 0. Negative on failure. */
ZAFO_API int ZAFOScheduleSet(const ZAFOSCHEDULE *pSchedule, int nFlags);

/* Removes the entry whose command equals `szCommand`. Negative on failure. */
ZAFO_API int ZAFOScheduleRemove(const char *szCommand);

ZAFO_END_DECLS

#endif
