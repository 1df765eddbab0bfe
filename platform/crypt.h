/* SPDX-License-Identifier: Apache-2.0
 *
 * Text codings: the cipher of stored passwords, base64 and Samba's NT hash.
 */
#ifndef ZAFO_PLATFORM_CRYPT_H
#define ZAFO_PLATFORM_CRYPT_H

#include <stddef.h>

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Enciphers a text of at most 1023 bytes into printable text (at most 1368
 * characters and the final zero). The host platform uses AES-256-GCM with a
 * machine key in "/usr/zafo/etc/private/machine.key" (32 random bytes, mode 0600, created on first
 * use); enciphering the same text twice gives different results.
 * 0; -1 with 0x0D00, 0x0E00 (buffer), 0x0900 or 0x0B00 (key file), 0x0F00 (key file damaged). */
ZAFO_API int QLIBCryptSzEncrypt(const char *szClear, char *szCipher, size_t cbCipher);

/* Deciphers such a text. 0; -1 with 0x0D00, 0x0E00, 0x0900, or 0x0F00 when the text was not made by
 * QLIBCryptSzEncrypt with this machine's key. */
ZAFO_API int QLIBCryptSzDecrypt(const char *szCipher, char *szClear, size_t cbClear);

/* Decodes `cbText` characters of base64 (RFC 4648 section 4, padding
 * required, no line breaks) into `pBuffer`, which must have room for
 * cbText / 4 * 3 bytes. The number of bytes is stored through `pcbDecoded`.
 * Non-zero on success; 0 with 0x0F00 on text that is not base64, or 0x0D00. */
ZAFO_API int ZAFOEncodingBase64Decode(const char *szText, size_t cbText, void *pBuffer,
                                      size_t *pcbDecoded);

/* The base64 text of `cbData` bytes on one line, allocated with malloc: the
 * caller frees it with free(). NULL with 0x0D00 or 0x0200. */
ZAFO_API char *SzBase64EncodeOneLine(const void *pData, size_t cbData);

/* Samba's NT hash of a UTF-8 password: MD4 of its UTF-16LE form, as 32
 * upper-case hexadecimal digits. 0; -1 with 0x0D00, 0x0E00 (buffer below 33 bytes) or 0x0F00. */
ZAFO_API int QLIBSmbNtEncrypt(const char *szClear, char *szHash, size_t cbHash);

ZAFO_END_DECLS

#endif
