/* SPDX-License-Identifier: Apache-2.0
 *
 * Shared folders.
 */
#ifndef ZAFO_PLATFORM_SHARE_H
#define ZAFO_PLATFORM_SHARE_H

#include <stddef.h>

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* The path of a shared folder, from "/usr/zafo/etc/smb.conf", read as smb.conf(5)
 * says: letter case and outer blanks in names of shares are ignored, as are letter case and all
 * blanks in names of parameters; "directory" means "path"; the last value counts; a line that
 * ends with a backslash continues in the next one. [global], [homes] and [printers] are not shares.
 * A share whose path is missing, relative or contains a %-variable counts as missing, because it
 * names no single folder. "include" and "copy" are not followed.
 * 0; -1 with 0x2200 (no such share, or no file), 0x0900 (the file cannot be
 * read), 0x0E00 (the path and its zero byte do not fit into `cbPath` bytes, which
 * are left as they were), 0x0D00 or 0x0200. */
ZAFO_API int ZAFOSharePathGet(const char *szShare, char *szPath, size_t cbPath);

ZAFO_END_DECLS

#endif
