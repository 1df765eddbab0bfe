/* SPDX-License-Identifier: Apache-2.0
 *
 * Folders.
 */
#ifndef ZAFO_PLATFORM_FS_H
#define ZAFO_PLATFORM_FS_H

#include "platform/api.h"

#include <sys/types.h>

ZAFO_BEGIN_DECLS

/* Creates a folder and its missing parents; the folder gets owner and mode.
 * `nFlags` must be 0, `blSetOwner` 1 to give it to uid and gid. Links that stand in
 * the way are not followed in the last component. Negative on failure. */
ZAFO_API int ZAFOFSMkdirP(const char *szPath, int nFlags, int blSetOwner, uid_t uid, gid_t gid,
                          mode_t mode);

ZAFO_END_DECLS

#endif
