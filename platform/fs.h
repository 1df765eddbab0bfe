/* SPDX-License-Identifier: Apache-2.0
 *
 * Folders.
 */
#ifndef ZAFO_PLATFORM_FS_H
#define ZAFO_PLATFORM_FS_H

#include <sys/types.h>

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Creates a folder and its missing parents.
 *
 * `szPath` is absolute; several "/" in a row count as one, and one at the end is
 * ignored. "." and ".." are refused, and so is "/" itself. No link is followed, neither on the way
 * nor at the end, so that users who may write to a folder on the way cannot redirect the call.
 *
 * A new folder gets exactly the bits of `mode` (at most 07777), whatever the umask, and with
 * `blSetOwner` 1 the owner `uid` and the group `gid`; with 0 it belongs to the caller. New parents
 * belong to the caller and have mode 0755. An existing folder is left unchanged. `nFlags` must be
 * 0.
 *
 * 0 when the folder exists. -1, leaving nothing that the call created, with
 *   0x0D00  a bad argument: the path (see above), the mode or the flags
 *   0x0900  something on the way, or the end, is not a folder (a file or a link, for example) or
 *           cannot be entered
 *   0x0B00  a folder could not be made, or not be given owner or mode
 *   0x0200  no memory */
ZAFO_API int ZAFOFSMkdirP(const char *szPath, int nFlags, int blSetOwner, uid_t uid, gid_t gid,
                          mode_t mode);

ZAFO_END_DECLS

#endif
