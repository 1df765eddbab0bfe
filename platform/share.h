/* SPDX-License-Identifier: Apache-2.0
 *
 * Shared folders.
 */
#ifndef ZAFO_PLATFORM_SHARE_H
#define ZAFO_PLATFORM_SHARE_H

#include "platform/api.h"

#include <stddef.h>

ZAFO_BEGIN_DECLS

/* The path of a shared folder. 0; negative when there is no such share or the
 * buffer is too small. */
ZAFO_API int ZAFOSharePathGet(const char *szShare, char *szPath, size_t cbPath);

ZAFO_END_DECLS

#endif
