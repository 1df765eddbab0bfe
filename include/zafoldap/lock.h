/* SPDX-License-Identifier: Apache-2.0
 *
 * Advisory locks between processes (flock(2)), for jobs that only one process
 * may run at a time.
 */
#ifndef ZAFOLDAP_LOCK_H
#define ZAFOLDAP_LOCK_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* Takes a lock on `szFile`, which is made with mode 0600 when it is missing
 * and stays in place afterwards. `flag` is LOCK_SH (1) or LOCK_EX (2) of
 * <sys/file.h>. Never waits.
 *
 * Returns the descriptor that holds the lock, 0 or more, released with
 * ZAFOLDAPUnLock; it is closed on exec. -1 with
 *   library error -65542  another process holds a conflicting lock (the platform slot stays)
 *   platform error 0x0900 the file cannot be opened
 *   platform error 0x0D00 NULL, neither or both of the two flags (the file is not touched) */
ZAFOLDAP_API int ZAFOLDAPLock(const char *szFile, int flag);

/* Releases and closes a lock; a negative `fd` is ignored. Always 0. */
ZAFOLDAP_API int ZAFOLDAPUnLock(int fd);

ZAFOLDAP_END_DECLS

#endif
