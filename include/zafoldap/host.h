/* SPDX-License-Identifier: Apache-2.0
 *
 * The connection record: one directory server and how to bind to it. It holds
 * settings only; every operation makes its own connection through a tool.
 * Filling it from saved settings and asking the server are in
 * zafoldap/connection.h.
 */
#ifndef ZAFOLDAP_HOST_H
#define ZAFOLDAP_HOST_H

#include "platform/szlist.h"
#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* Numbers of the string attributes, for ZAFOLDAPHostSet. */
enum {
    LDAP_HOST_ATTR_MIN = -1,
    LDAP_HOST_ATTR_URI = 0,
    LDAP_HOST_ATTR_BASEDN = 1,
    LDAP_HOST_ATTR_BINDDN = 2,
    LDAP_HOST_ATTR_BINDPW = 3,
    LDAP_HOST_ATTR_LOGIN_SUFFIX = 4,
    LDAP_HOST_ATTR_MAX = 5
};

/* Kinds of server (nServerType). */
enum {
    ZAFOLDAP_SERVER_GENERIC = 0, /* a plain LDAP server */
    ZAFOLDAP_SERVER_ZAFO = 1,    /* the appliance's own: "cn=zafoconf" under the base DN */
    ZAFOLDAP_SERVER_APPLE = 2    /* Apple Open Directory: an "ou=macosxodconfig" */
};

typedef struct ZAFOLDAP_HOST {
    QLIBSZLIST *plistBuffer;   /* owns the five strings, item = attribute number */
    const char *szUri;         /* host name or address, optionally ":port", no scheme; more servers
                                  may follow, each with its scheme ("a:389 ldap://b:389"), tried
                                  in order */
    const char *szBaseDN;      /* base DN of the tree */
    const char *szBindDN;      /* DN to bind as; NULL: anonymous */
    const char *szBindPasswd;  /* bind password in clear */
    const char *szLoginSuffix; /* domain name appended to directory user names */
    int nServerType;           /* kind of server, set by ZAFOLDAPBrowserCheckServerType */
    unsigned int nSchema;      /* object-class bits (zafoldap/object_class.h), set by
                                  ZAFOLDAPHostGetSupportedSchema */
    int nSSLType;              /* 0 plain, 1 "ldaps://", 2 StartTLS (platform/ldap.h) */
} ZAFOLDAP_HOST;

/* Zeroes the record and makes room for its strings. 0; -1 with platform error
 * 0x0200, `plistBuffer` then being NULL. */
ZAFOLDAP_API int ZAFOLDAPHostInit(ZAFOLDAP_HOST *pHost);

/* Stores a copy of `szValue` as attribute `attr` (LDAP_HOST_ATTR_URI …); NULL
 * unsets it, and the field reads NULL again. Pointers taken from the string
 * fields before are invalid afterwards.
 * 0; -1 with platform error 0x0D00 (NULL or uninitialised record, attribute
 * outside 0..4) or 0x0200: the record is then unchanged, or empty if there was not even memory for
 * keeping it. */
ZAFOLDAP_API int ZAFOLDAPHostSet(ZAFOLDAP_HOST *pHost, int attr, const char *szValue);

/* Frees what the record owns and zeroes it. 0; -1 with platform error 0x0D00
 * for NULL (the one Free function that reports NULL). */
ZAFOLDAP_API int ZAFOLDAPHostFree(ZAFOLDAP_HOST *pHost);

/* Copies all fields and, when the source has one, its buffer. `pDst` is
 * overwritten without being freed. The string fields of the copy still point into the
 * SOURCE's buffer: use the copy only while the source lives and is unchanged,
 * or set each attribute again. 0; -1 with platform error 0x0D00 or 0x0200. */
ZAFOLDAP_API int ZAFOLDAPHostClone(ZAFOLDAP_HOST *pDst, const ZAFOLDAP_HOST *pSrc);

ZAFOLDAP_END_DECLS

#endif
