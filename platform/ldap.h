/* SPDX-License-Identifier: Apache-2.0
 *
 * The appliance's directory settings: its client binding (nslcd.conf(5)), its
 * server's configuration (slapd.conf(5)) and small DN helpers.
 */
#ifndef ZAFO_PLATFORM_LDAP_H
#define ZAFO_PLATFORM_LDAP_H

#include <stddef.h>

#include "platform/szhash.h"

ZAFO_BEGIN_DECLS

/* Transport security, as nslcd.conf's "ssl" names it. */
enum {
    ZAFOLDAP_SSL_OFF = 0,      /* "off" */
    ZAFOLDAP_SSL_LDAPS = 1,    /* "on": TLS from the first byte */
    ZAFOLDAP_SSL_START_TLS = 2 /* "start_tls" */
};

/* The value of the first directive `szKey` (ignoring case) in a file in the style of nslcd.conf and
 * slapd.conf: "key value" lines, comments from '#' at the line's start, double quotes around the
 * value removed, a line that begins with blanks continues the one before.
 * 1 found; 0 absent (buffer untouched); -1 with 0x0900, 0x0A00, 0x0E00 (value longer than the
 * buffer) or 0x0D00. */
ZAFO_API int ZAFOLDAPInfoGetFromConf(const char *szConf, const char *szKey, char *szBuf,
                                     size_t cbBuf);

/* The bind password of the client binding: "bindpw" of
 * "/usr/zafo/etc/nslcd.conf", else the first line of
 * "/usr/zafo/etc/private/ldap.secret".
 * 0; -1 with 0x0900 (none stored), 0x0A00, 0x0E00 or 0x0D00. */
ZAFO_API int ZAFOLDAPSecretGet(char *szBuf, size_t cbBuf);

/* The suffix appended to directory user names: "login_suffix" of
 * "/usr/zafo/etc/ldapclient.conf" (key=value), else the domain name of the
 * binding's base DN. 0; -1 with 0x0900, 0x0E00 or 0x0D00. */
ZAFO_API int ZAFOLDAPLoginSuffixGet(char *szBuf, size_t cbBuf);

/* Transport security of the client binding: 2 when "ssl" of
 * "/usr/zafo/etc/nslcd.conf" is "start_tls", else 1 when it is "on" or the first
 * URI's scheme is ldaps, else 0. */
ZAFO_API int ZAFOLDAPSSLTypeGetFromNslcd(void);

/* "on", "yes", "true" and "1" are 1, "start_tls" and "starttls" are 2 (in any letter
 * case); anything else, NULL included, is 0. */
ZAFO_API int ZAFOLDAPSSLToType(const char *szSSL);

/* Writes "off", "on" or "start_tls". 0; -1 with 0x0D00 for another type or 0x0E00. */
ZAFO_API int ZAFOLDAPSSLToString(int nSSLType, char *szBuf, size_t cbBuf);

/* 1 when the appliance is bound to a directory ("/usr/zafo/etc/nslcd.conf" names
 * a uri), else 0. `nFlags` must be 0. */
ZAFO_API int ZAFOLDAPIsBinded(int nFlags);

/* Joins the values of the "dc" components of a DN with dots:
 * dc=example,dc=com gives example.com. 0; -1 with 0x0F00 (no dc component, or not a
 * DN), 0x0E00 or 0x0D00. */
ZAFO_API int ZAFOLDAPDNDomainName(const char *szDN, char *szBuf, size_t cbBuf);

/* The value of the first "dc" component of a DN. 0; -1 as ZAFOLDAPDNDomainName. */
ZAFO_API int ZAFOLDAPDNFirstDomainComponent(const char *szDN, char *szBuf, size_t cbBuf);

/* The `nIndex`-th RDN of a DN, counted from 1 at the entry's own, as it is
 * written there (RFC 4514 escapes are honoured and kept).
 * 0; -1 with 0x0F00 (no such RDN), 0x0E00 or 0x0D00. */
ZAFO_API int ZAFOLDAPRDNExtract(const char *szDN, int nIndex, char *szRDN, size_t cbRDN);

/* Splits an RDN at its first "=" into attribute and value (escapes kept, blanks around both
 * dropped). 0; -1 with 0x0F00 (not an RDN), 0x0E00 or 0x0D00. */
ZAFO_API int ZAFOLDAPRDNPairExtract(const char *szRDN, char *szAttr, size_t cbAttr, char *szValue,
                                    size_t cbValue);

/* Rewrites `szConf` from `szTemplate` in one step, replacing the value of every directive named by
 * a key of the map with the key's value; a key that the template lacks is added. A value with
 * blanks is written as one word, in double quotes: right for a DN, but wrong for a directive that
 * takes several words. The file is readable by the directory server: its group is "openldap", its
 * mode 0640; if there is no such group, or the file cannot be given to it, the mode is 0600. In
 * the other lines of the template, within double quotes, "${suffix}" and "${rootdn}" stand for the
 * values of those directives, "${rootdn_parent}" for the DN above the latter, and in an LDAP URL
 * "${suffix_in_url}" for the suffix. `nFlags` must be 0.
 * 0; -1 with 0x0900, 0x0B00, 0x0D00 or 0x0200. */
ZAFO_API int ZAFOLDAPConfSet(const char *szConf, const char *szTemplate, const QLIBSZHASH *pHash,
                             int nFlags);

/* The same for one key, starting from `szConf` itself when it exists. Lines in which the template
 * refers to the suffix or the rootdn follow a change of either. */
ZAFO_API int ZAFOLDAPConfSetOne(const char *szConf, const char *szTemplate, const char *szKey,
                                const char *szValue, int nFlags);

/* Creates an empty temporary file beside `szConf`, with the group and mode that ZAFOLDAPConfSet
 * uses, and writes its path to `szPath`.
 * 0; -1 with 0x0900, 0x0E00 or 0x0D00. `nFlags` must be 0. */
ZAFO_API int ZAFOLDAPGenTmpConf(const char *szConf, int nFlags, char *szPath, size_t cbPath);

ZAFO_END_DECLS

#endif
