/* SPDX-License-Identifier: Apache-2.0
 *
 * Where connections are loaded from and saved to: saved connections, the appliance's own client
 * binding, and what the server says it supports.
 *
 * Saved connections are sections of "/usr/zafo/etc/private/ldapbrowser.conf"
 * (syntax in platform/file.h) with the keys "uri", "basedn", "binddn",
 * "loginsuffix", "bindpw" (enciphered, platform/crypt.h) and "ssl" ("off",
 * "on", "start_tls"). "root" is the appliance's own server. The client
 * binding is "/usr/zafo/etc/nslcd.conf" (nslcd.conf(5)).
 */
#ifndef ZAFOLDAP_CONNECTION_H
#define ZAFOLDAP_CONNECTION_H

#include <stddef.h>

#include "zafoldap/api.h"
#include "zafoldap/host.h"
#include "zafoldap/server.h"

ZAFOLDAP_BEGIN_DECLS

/* Fills a record from the saved connection `szSection` (NULL: "root"), then asks the server for its
 * type and the object classes it knows.
 *   1   complete
 *   0   filled, but the server could not be asked: the library error says why (an LDAP code)
 *  -1   with platform error 0x2200 (no such connection, or the file cannot be read), 0x0F00
 *       (the password cannot be deciphered), 0x0D00 or 0x0200
 * Free the record with ZAFOLDAPHostFree in every case. */
ZAFOLDAP_API int ZAFOLDAPHostInitByBrowserConfig(ZAFOLDAP_HOST *pHost, const char *szSection);

/* The same from the appliance's client binding: uri (the first URI's scheme is cut off),
 * binddn, base, transport security, login suffix and bind password (none stored: unset).
 *   1 or 0  as above
 *  -1       with library error -65537 (no login suffix can be found), or the platform's error */
ZAFOLDAP_API int ZAFOLDAPHostInitByBindConfig(ZAFOLDAP_HOST *pHost);

/* The DN of the server's subschema entry (RFC 4512 section 4.2), from the
 * root DSE, cut to the buffer. 0; -1 as ZAFOLDAPSearchResultGet, or when the
 * server names none. */
ZAFOLDAP_API int ZAFOLDAPHostGetSchemaDN(ZAFOLDAP_HOST *pHost, char *szDN, size_t cbDN);

/* Adds to nSchema the bits of the object classes that the server's schema
 * mentions (start from 0: bits are never cleared). A class that is only named
 * as another's superior counts as well.
 * 0; -1 out of memory or bad argument; -2 the subschema DN cannot be read; -3 the
 * subschema cannot be read. */
ZAFOLDAP_API int ZAFOLDAPHostGetSupportedSchema(ZAFOLDAP_HOST *pHost);

/* Sets nSSLType from the client binding. 0; -1 with 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPSSLGetByBindConfig(ZAFOLDAP_HOST *pHost);

/* Sets nServerType: 1 when "cn=zafoconf" exists under the base DN, else 2 when an
 * "ou=macosxodconfig" does, else 0.
 * 0; -1 as ZAFOLDAPSearchResultGet, or with 0x0E00 (the marker's DN would have more than 1023
 * bytes), the field being left as it was. */
ZAFOLDAP_API int ZAFOLDAPBrowserCheckServerType(ZAFOLDAP_HOST *pHost);

/* Saves a connection under `szSection` (NULL: "root"). A field that is NULL, even the password,
 * leaves its key in the file as it was; other connections, comments and unknown keys stay. The
 * password is stored enciphered.
 * 0; -1 with 0x0900, 0x0B00, 0x0F00 (the file is damaged: it is left alone), 0x0D00 (for example
 * a password longer than 1023 bytes) or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPBrowserConfSet(const ZAFOLDAP_HOST *pHost, const char *szSection);

/* Saves the local server's connection under "root": localhost with StartTLS,
 * the record's first three fields, and the suffix's domain name as login
 * suffix where it has one. Results as ZAFOLDAPBrowserConfSet. */
ZAFOLDAP_API int ZAFOLDAPBrowserConfSetByServerParam(const ZAFOLDAP_SERVER_PARAM *pParam);

ZAFOLDAP_END_DECLS

#endif
