/* SPDX-License-Identifier: Apache-2.0
 *
 * The debug switch: verbose logging to syslog.
 */
#ifndef ZAFOLDAP_DEBUG_H
#define ZAFOLDAP_DEBUG_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* 1 when verbose logging is on, else 0. It is on if the marker "/tmp/zafoldap_debug" counts (see
 * below) and is readable at the first call; the answer holds for the life of the process. The
 * file's content does not matter.
 *
 * While the switch is on, the log contains secrets: bind passwords are masked, but the command line
 * that sets a new password is logged unchanged, and change files with password hashes stay in
 * "/tmp" (mode 0600). Anyone can write to "/tmp", so a marker counts only if nobody but root or the
 * process's own effective user can have created it: a regular file owned by root or the effective
 * user, with one link, in a "/tmp" where others cannot rename files they do not own (sticky, as
 * usual). A link, a FIFO or a folder of that name is ignored, no matter who made it; nothing is
 * followed or opened.
 *
 * Limit: if the kernel allows links to other users' files (fs.protected_hardlinks 0), a link to a
 * file of root's that root then removes becomes its only link, and counts. */
ZAFOLDAP_API int ZAFOLDAPDebugEnabled(void);

ZAFOLDAP_END_DECLS

#endif
