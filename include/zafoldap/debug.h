/* SPDX-License-Identifier: Apache-2.0
 *
 * The debug switch: verbose logging to syslog.
 */
#ifndef ZAFOLDAP_DEBUG_H
#define ZAFOLDAP_DEBUG_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* 1 when verbose logging is on, else 0. The first call decides by whether
 * "/tmp/zafoldap_debug" is readable, and the answer holds for the life of the
 * process. The file's content does not matter. Anybody who can write to
 * "/tmp" can throw the switch; bind passwords are masked in what it logs. */
ZAFOLDAP_API int ZAFOLDAPDebugEnabled(void);

ZAFOLDAP_END_DECLS

#endif
