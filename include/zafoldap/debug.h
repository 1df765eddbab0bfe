/* SPDX-License-Identifier: Apache-2.0
 *
 * The debug switch: verbose logging to syslog.
 */
#ifndef ZAFOLDAP_DEBUG_H
#define ZAFOLDAP_DEBUG_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* 1 when verbose logging is on, else 0. The first call decides by whether
 * "/tmp/zafoldap_debug" counts and is readable, and the answer holds for the life of
 * the process. The file's content does not matter.
 *
 * While the switch is on the log shows more than others may know: bind passwords
 * are masked, but the command line that sets a new password is logged as it is, and
 * change files with password hashes stay in "/tmp" (mode 0600). "/tmp" is
 * everybody's, so a marker counts only where nobody but root and the process's
 * own effective user can have put it: a regular file of root's or of the effective
 * user's, with one link, in a "/tmp" whose others cannot rename what is not theirs
 * (sticky, as it is everywhere). A link, a FIFO or a folder of that name is
 * nothing, whoever made it; nothing is followed or opened.
 *
 * Limit: where the kernel lets everybody link files that are not theirs
 * (fs.protected_hardlinks 0), a link to a file of root's that root then removes
 * has become its only one, and counts. */
ZAFOLDAP_API int ZAFOLDAPDebugEnabled(void);

ZAFOLDAP_END_DECLS

#endif
