/* SPDX-License-Identifier: Apache-2.0
 *
 * Folders.
 */
#ifndef ZAFO_PLATFORM_FS_H
#define ZAFO_PLATFORM_FS_H

#include "platform/api.h"

#include <sys/types.h>

ZAFO_BEGIN_DECLS

/* Makes a folder and its missing parents.
 *
 * `szPath` is absolute; several "/" in a row count as one, and one at the end does not
 * count. "." and ".." are refused, and so is "/" itself. No link is followed, neither on
 * the way nor at the end: whoever may write to a folder on the way cannot send the call
 * elsewhere.
 *
 * A folder that is made gets exactly the bits of `mode` (at most 07777), whatever the umask
 * is, and with `blSetOwner` 1 the owner `uid` and the group `gid`; with 0 it stays the
 * caller's. Parents that are made are the caller's with mode 0755. A folder that exists
 * is left as it is. `nFlags` must be 0.
 *
 * 0 when the folder is there. -1, and then nothing that the call made is left, with
 *   0x0D00  a bad argument: the path (see above), the mode or the flags
 *   0x0900  something on the way, or the end, is no folder (a file or a link, for example) or
 *           cannot be entered
 *   0x0B00  a folder could not be made, or not be given owner or mode
 *   0x0200  no memory */
ZAFO_API int ZAFOFSMkdirP(const char *szPath, int nFlags, int blSetOwner, uid_t uid, gid_t gid,
                          mode_t mode);

ZAFO_END_DECLS

#endif
