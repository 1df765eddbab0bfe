/* SPDX-License-Identifier: Apache-2.0
 *
 * Passwords: hashing one locally and setting one through the server.
 */
#ifndef ZAFOLDAP_PASSWORD_H
#define ZAFOLDAP_PASSWORD_H

#include <stddef.h>

#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Hashes a clear password with "/usr/zafo/bin/slappasswd" (slappasswd(8)) as
 * a userPassword value (RFC 2307 section 5.3): "{CRYPT}" and an MD5-crypt text
 * "$1$", two characters of salt, "$", digest (crypt(5)). One line, cut to the
 * buffer; 16384 bytes always suffice.
 * 0; -1 with 0x0D00, with the platform's code when the tool cannot be started,
 * or with neither slot changed when it prints nothing (slappasswd refuses an empty password). */
ZAFOLDAP_API int ZAFOLDAPEncryptPasswd(const char *szClearPass, char *szEncryptPass,
                                       size_t cbEncryptPass);

/* Asks the server to set the password of the entry `szUserDN` (a full DN) with
 * "/usr/zafo/bin/ldappasswd" (RFC 3062, ldappasswd(1)), bound as the record says; the server
 * chooses the scheme in which it is stored.
 * 0; -1 with 0x0D00 or 0x0200, or with neither slot changed when the tool
 * failed (its exit code is in the log). */
ZAFOLDAP_API int ZAFOLDAPPasswd(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                const char *szClearPass);

ZAFOLDAP_END_DECLS

#endif
