/* SPDX-License-Identifier: Apache-2.0
 *
 * POSIX users and groups in a directory.
 */
#ifndef ZAFOLDAP_BROWSER_H
#define ZAFOLDAP_BROWSER_H

#include "platform/group.h"
#include "platform/user.h"
#include "zafoldap/api.h"

/* How to recognise a user; a NULL record or member means the default. */
typedef struct ZAFOLDAP_BROWSER_OPTIONS {
    const char *szFilter;   /* instead of "objectClass=posixAccount" */
    const char *szNameAttr; /* attribute of the login name instead of "uid" */
} ZAFOLDAP_BROWSER_OPTIONS;

#endif
