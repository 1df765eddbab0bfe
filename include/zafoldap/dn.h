/* SPDX-License-Identifier: Apache-2.0
 *
 * Distinguished names.
 */
#ifndef ZAFOLDAP_DN_H
#define ZAFOLDAP_DN_H

#include <stddef.h>

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* Writes everything after the first comma of `szDN` into `szParentDN`, cut to
 * cbParentDN - 1 characters; the empty string when there is no comma. The split
 * is textual: an escaped comma (RFC 4514) in the first RDN is not recognised and
 * blanks after the comma are kept. The buffers must not overlap.
 *
 * 0; -1 with platform error 0x0D00 (NULL, or a buffer of 0 bytes). */
ZAFOLDAP_API int ZAFOLDAPDNParserParentDN(const char *szDN, char *szParentDN, size_t cbParentDN);

ZAFOLDAP_END_DECLS

#endif
