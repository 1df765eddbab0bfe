/* SPDX-License-Identifier: Apache-2.0
 *
 * The appliance's own directory server: OpenLDAP's slapd as the service
 * "ldap-server".
 *
 *     ZAFOLDAP_SERVER_PARAM param = {0};
 *     param.szSuffix = "dc=example,dc=com";
 *     param.szRootDN = "cn=admin,dc=example,dc=com";
 *     param.szRootPW = password;
 *     if (ZAFOLDAPServerEnable(&param) != 0) …
 *
 * The caller enables the service (platform/service.h) first: a service that is not enabled cannot
 * be started.
 *
 * Files
 *   /usr/zafo/etc/openldap/slapd.conf            slapd.conf(5), written anew from
 *   /usr/zafo/etc.defaults/openldap/slapd.conf.template  at every enabling
 *   /usr/zafo/etc/openldap/slapd-acls.conf       access rules, slapd.access(5)
 *   /usr/zafo/etc/openldap/data/                 the database; "dn2id.bdb" exists there
 *                                                when it holds data
 *   /var/run/slapd.pid                           the server's process id
 *
 * The offline tools (slapadd(8), slapcat(8), slapindex(8)) work on the database
 * itself, bypassing the server and its access rules. There is no lock: the caller makes sure that
 * only one process at a time creates, loads or resets the database.
 *
 * Suffix and DNs are LDAP DNs in their string form (RFC 4514). The suffix is written into the
 * access rules unchanged: slapd reads a suffix with a double quote or a backslash differently
 * there, and operators then have no rights. And ZAFOLDAPServerDNIsExist does not find the entries of
 * such a suffix, nor of one with parentheses or "*": enabling a second time then fails at the base
 * entry, which slapadd refuses because it exists, and leaves the server stopped. `zafoldapserver`
 * refuses both kinds of suffix.
 */
#ifndef ZAFOLDAP_SERVER_H
#define ZAFOLDAP_SERVER_H

#include "zafoldap/api.h"
#include "zafoldap/host.h"
#include "zafoldap/ldif.h"

ZAFOLDAP_BEGIN_DECLS

/* Settings of the local server. Borrows its strings. */
typedef struct ZAFOLDAP_SERVER_PARAM {
    const char *szSuffix; /* base DN; slapd's "suffix" */
    const char *szRootDN; /* administrator DN; slapd's "rootdn" */
    const char *szRootPW; /* administrator password in clear */
    unsigned int nCurUid; /* first uid to hand out */
    unsigned int nCurGid; /* first gid to hand out */
    unsigned int nMaxUid; /* highest uid of the pool */
    unsigned int nMaxGid; /* highest gid of the pool */
    unsigned int nMinUid; /* lowest uid of the pool */
    unsigned int nMinGid; /* lowest gid of the pool */
} ZAFOLDAP_SERVER_PARAM;

/* --- Running ---------------------------------------------------------------- */

/* With a record: stops the server, writes slapd.conf, the saved connection "root"
 * and the access rules, adds what the database lacks, starts the server and adds
 * the default accounts. Only the first three fields are read; the pool runs from
 * 1000000 to 2097151. Whatever exists is kept, so the call may be repeated. With NULL: only stops
 * and starts the server.
 * 0; -1 at the first step that fails; the results of earlier steps stay. If a tool failed, the
 * library error is its exit code. */
ZAFOLDAP_API int ZAFOLDAPServerEnable(const ZAFOLDAP_SERVER_PARAM *pParms);

/* Starts the service and checks two seconds later that it is still running. 0; -1. */
ZAFOLDAP_API int ZAFOLDAPServerStart(void);

/* Stops the service. 0; -1 with platform error 0xD200, or (with a line in the log) when it still
 * reports itself as running. Only the service's own process is ever ended, whatever the pid file
 * says. */
ZAFOLDAP_API int ZAFOLDAPServerStop(void);

/* 1 when the service is enabled and its pid file names a living process, whose number is stored in
 * `*pPid` (may be NULL); else 0. */
ZAFOLDAP_API int ZAFOLDAPServerIsStarted(int *pPid);

/* --- Configuration ---------------------------------------------------------- */

/* Writes slapd.conf from its template with the record's suffix, rootdn and the
 * hash of its password (zafoldap/password.h). A field that is NULL keeps the
 * template's own value. Takes effect at the next start.
 * 0; -1 with 0x0D00, 0x0200, 0x0900, 0x0B00 or the errors of ZAFOLDAPEncryptPasswd. */
ZAFOLDAP_API int ZAFOLDAPServerConfSet(const ZAFOLDAP_SERVER_PARAM *pParms);

/* Sets one directive of slapd.conf, which is created from its template if missing. As
 * ZAFOLDAPConfSetOne (platform/ldap.h), to which the arguments are passed unchecked. */
ZAFOLDAP_API int ZAFOLDAPSlapdConfSetOne(const char *szKey, const char *szValue);

/* Writes the access rules for a suffix and puts them in place in one step. The rules:
 * everybody reads everything except password hashes; users change their own password, Samba
 * hashes, shadowLastChange, gecos and those attributes of inetOrgPerson that no earlier rule
 * names; members (memberUid) of "cn=Directory Operators,cn=groups,SUFFIX" write everything.
 * The same suffix always gives the same bytes. At most 1023 bytes of that group's DN are used.
 * 0; -1 with 0x0D00 or a line in the log. A failure leaves the old rules in place. */
ZAFOLDAP_API int ZAFOLDAPServerACLConfGen(const ZAFOLDAP_SERVER_PARAM *pParms);

/* Writes the same rules into `szPath`, which is created or truncated. 0; -1 when it
 * cannot be opened, or with 0x0D00. Write errors are not reported. */
ZAFOLDAP_API int ZAFOLDAPServerWriteACL(const char *szPath, const ZAFOLDAP_SERVER_PARAM *pParms);

/* --- Database --------------------------------------------------------------- */

/* Adds those of the following that the database lacks: the base entry, cn=users, cn=groups,
 * cn=zafoconf with the id pool of the record's six numbers, the Samba domain; then indexes the
 * database. The suffix is read from slapd.conf; it needs a "dc" component. A running server is
 * stopped before every added entry and started again after it.
 * 0; -1 at the first entry that cannot be added, for example one whose DN would have more than 1023
 * bytes (0x0E00); those before it stay. */
ZAFOLDAP_API int ZAFOLDAPServerDBCreate(const ZAFOLDAP_SERVER_PARAM *pParms);

/* Adds the Samba domain named by the suffix's first domain component, with a new
 * random security identifier, unless it exists. `pParms` is not read.
 * 0, also when it exists; -1. */
ZAFOLDAP_API int ZAFOLDAPServerSambaDomainCreate(const char *szSuffix,
                                                 const ZAFOLDAP_SERVER_PARAM *pParms);

/* Stops the server, empties the database and removes slapd.conf and the access
 * rules. All accounts are lost. The server stays stopped. 0; -1 at the first step that
 * fails. */
ZAFOLDAP_API int ZAFOLDAPServerDBReset(void);

/* Loads the entries of a change file (zafoldap/ldif.h) and deletes the file; a file
 * without attribute lines is only deleted. A running server is stopped and restarted, whatever the
 * result.
 * 0; -1 with 0x0900 (slapadd cannot be started), with the library error and the record's
 * nExitCode set to slapadd's exit code, with 0x0D00, or, keeping the file, when slapd.conf names no
 * suffix. */
ZAFOLDAP_API int ZAFOLDAPServerSlapadd(ZAFOLDAP_LDIF *pLDIF);

/* 1 when the database holds an entry with exactly this DN, byte for byte; 0 when it does not, and
 * when that cannot be determined: with platform error 0x0900 or 0x0200, or with neither slot
 * changed when slapcat's output breaks off. -1 with 0x0D00. The DN is also used in a search filter
 * and is not escaped there. */
ZAFOLDAP_API int ZAFOLDAPServerDNIsExist(const char *szDN);

/* 1 when the database holds no data, else 0. */
ZAFOLDAP_API int ZAFOLDAPServerDBIsEmpty(void);

/* --- Through a running server ------------------------------------------------ */

/* Adds the groups "users" (gid 1000001), "Directory Operators" (1000000) and "administrators"
 * (1000002) and the user "admin" (uid 1000000, the directory administrator's password), a
 * member of the last two, over the saved connection "root". Names that exist are kept.
 * 0; -1 with the library error of the step that failed: -65541 or -65540 when a number belongs
 * to another name. */
ZAFOLDAP_API int ZAFOLDAPServerDefaultAdd(void);

/* Adds the container "cn=NAME,BASE". The name is escaped in the DN, must not contain a line break,
 * and is written in base64 as the value of "cn" when it begins with a blank.
 * 0; -1 as ZAFOLDAPModify (68: it exists), 0x0E00 (the DN would have more than 1023 bytes), 0x0D00.
 * */
ZAFOLDAP_API int ZAFOLDAPBrowserNodeCreate(const ZAFOLDAP_HOST *pHost, const char *szNodeName);

/* Adds the base entry of the connection's tree, a domain. 0; -1 as ZAFOLDAPModify, or when
 * the base DN has no "dc" component. */
ZAFOLDAP_API int ZAFOLDAPBrowserRootNodeCreate(const ZAFOLDAP_HOST *pHost);

ZAFOLDAP_END_DECLS

#endif
