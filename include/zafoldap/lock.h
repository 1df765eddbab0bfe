/* SPDX-License-Identifier: Apache-2.0
 *
 * Advisory locks between processes (flock(2)), for jobs that only one process
 * may run at a time.
 */
#ifndef ZAFOLDAP_LOCK_H
#define ZAFOLDAP_LOCK_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* Takes a lock on `szFile`, which is created with mode 0600 if missing and stays in place
 * afterwards. `flag` is LOCK_SH (1) or LOCK_EX (2) of <sys/file.h>. Never waits for a lock. A link
 * is not followed.
 *
 * In a folder in which others may create files, such as "/tmp", only a file that nobody else can
 * lock is accepted: a regular file owned by root or the effective user, with one link and no
 * permissions for group and others. Anything else that another user has put there (a file of their
 * own, a link, a FIFO, a folder) does not keep root out: it is removed (a folder that is not empty
 * is renamed), root's own file takes its place, and the log says so. For other users the call
 * fails, and the log names what is in the way; for root it fails in the same way if a folder, link
 * or FIFO there is root's own. In other folders any file that can be opened is accepted.
 *
 * Returns the descriptor that holds the lock, 0 or more, released with
 * ZAFOLDAPUnLock; it is closed on exec. -1 with
 *   library error -65542  another process holds a conflicting lock (the platform slot stays)
 *   platform error 0x0900 the file cannot be opened, or something else is in its place
 *   platform error 0x0D00 NULL, neither or both of the two flags (the file is not touched)
 *   platform error 0x0200 */
ZAFOLDAP_API int ZAFOLDAPLock(const char *szFile, int flag);

/* Releases and closes a lock; a negative `fd` is ignored. Always 0. */
ZAFOLDAP_API int ZAFOLDAPUnLock(int fd);

ZAFOLDAP_END_DECLS

#endif
