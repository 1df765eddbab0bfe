/* SPDX-License-Identifier: Apache-2.0
 *
 * Unicode text.
 */
#ifndef ZAFO_PLATFORM_UNICODE_H
#define ZAFO_PLATFORM_UNICODE_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Compares two UTF-8 texts without regard to letter case (full case folding,
 * NFC). The result is below, equal to or above 0, as that of strcmp; text that is not UTF-8 is
 * compared by bytes. */
ZAFO_API int QLIBCUnicodeUTF8StrCaseCmp(const char *szA, const char *szB);

ZAFO_END_DECLS

#endif
