/* SPDX-License-Identifier: Apache-2.0
 *
 * Periodic commands, run by the machine's cron as root. They are in "/etc/cron.d/zafo" (crontab(5)
 * with a user field), each below a comment with its six numbers. Other entries and comments in that
 * file are kept. The file belongs to root and has mode 0644, or cron would refuse it. It is
 * replaced in one step under an flock on "/etc/cron.d/zafo.lock"; cron ignores names with a dot, so
 * it reads neither the lock file nor a half-written table. A change sets the times of file and
 * folder so that cron notices it at its next check.
 */
#ifndef ZAFO_PLATFORM_SCHEDULE_H
#define ZAFO_PLATFORM_SCHEDULE_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* The first of the six numbers. */
enum {
    ZAFO_SCHEDULE_NEVER = 0, /* kept as a comment; the command does not run */
    ZAFO_SCHEDULE_DAILY = 1,
    ZAFO_SCHEDULE_WEEKLY = 2,
    ZAFO_SCHEDULE_MONTHLY = 3
};

/* When to run a command. The six numbers are written in files as
 * "1,4,0,4,0,0", which is daily at 04:00, in the machine's local time:
 *
 *   0  kind: never, daily, weekly or monthly
 *   1  hour of the first run, 0 to 23
 *   2  minute of every run, 0 to 59
 *   3  hour of the last run of a day, 0 to 23; ignored when number 4 is 0
 *   4  hours between two runs of a day, 0 to 23; 0: one run, at the hour of number 1
 *   5  day: 0 to 6 of the week, Sunday 0, when weekly; 1 to 28 of the month
 *      when monthly, so that every month has it; 0 when daily; 0 to 28 when never
 *
 * "1,0,30,20,4,0" runs daily at 00:30, 04:30, 08:30, 12:30, 16:30 and 20:30. */
typedef struct ZAFOSCHEDULE {
    int rgField[6];
    char szCommand[1024]; /* a command line of sh(1), ends with a zero byte */
} ZAFOSCHEDULE;

/* Registers the command, replacing any entry with the same command. A schedule of the kind "never"
 * is kept as a comment, also with an empty command. `nFlags` must be 0.
 * 0; -1 with 0x0D00 (a number out of its range; runs that repeat, but a last hour before the first;
 * a command that is empty, begins with a blank, has a line break or no zero byte, or is longer than
 * the 998 bytes that cron accepts, which refuses a whole file with a longer one; every "%" counts
 * twice), 0x0900 (cron's folder or the file cannot be opened), 0x0B00 (cannot be written) or
 * 0x0200. */
ZAFO_API int ZAFOScheduleSet(const ZAFOSCHEDULE *pSchedule, int nFlags);

/* Finds the entry whose command equals `szCommand`; the command of `pSchedule`
 * is set as well. Nothing is locked.
 * 0; -1 with 0x2200 (no such entry), 0x0F00 (there is one, but its line does not match the six
 * numbers above it, or there are none), 0x0D00, 0x0900 or 0x0200. */
ZAFO_API int ZAFOScheduleGet(const char *szCommand, ZAFOSCHEDULE *pSchedule);

/* Removes every entry whose command equals `szCommand`. Success also if there is none.
 * 0; -1 with 0x0D00, 0x0900, 0x0B00 or 0x0200. */
ZAFO_API int ZAFOScheduleRemove(const char *szCommand);

ZAFO_END_DECLS

#endif
