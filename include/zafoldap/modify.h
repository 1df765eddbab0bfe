/* SPDX-License-Identifier: Apache-2.0
 *
 * Applying a change file to a directory.
 */
#ifndef ZAFOLDAP_MODIFY_H
#define ZAFOLDAP_MODIFY_H

#include "zafoldap/api.h"
#include "zafoldap/host.h"
#include "zafoldap/ldif.h"

ZAFOLDAP_BEGIN_DECLS

/* Runs "/usr/zafo/bin/ldapmodify" (ldapmodify(1)) on a change file and
 * consumes it: whatever the result, the file is closed, removed (kept while
 * debugging) and its name emptied, except after a bad argument. With `blAdd`
 * records without a change type are added as new entries. A file without attribute lines is not
 * run, and the call succeeds.
 *
 * The server applies each record as a whole or not at all, in order, and the
 * tool stops at the first that fails: records before it stay applied.
 *
 * 0; -1 with
 *   library error = LDAP result code  the tool failed with that exit code (also in
 *                         pLDIF->nExitCode): 68 the entry exists, 32 it does not, 50 not allowed,
 *                         49 wrong password
 *   no error changed      the tool was killed by a signal
 *   platform error 0x0900 the tool cannot be started
 *   platform error 0x0D00 */
ZAFOLDAP_API int ZAFOLDAPModify(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF, int blAdd);

ZAFOLDAP_END_DECLS

#endif
