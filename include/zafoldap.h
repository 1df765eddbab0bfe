/* SPDX-License-Identifier: Apache-2.0
 *
 * zafoldap: directory accounts and the directory server of a storage appliance.
 *
 * The rules of the interface, which the functions' own comments do not repeat:
 *
 * 1. Results. Most functions return an int: on success 0 (or a count, a descriptor, or 1 for
 *    "found"), on failure -1, unless their comments say otherwise. Functions that return a
 *    pointer return NULL on failure.
 *
 * 2. Two error slots, neither cleared on success. ZAFOLDAPErrGet holds LDAP
 *    result codes (RFC 4511 section 4.1.9, which are the exit codes of the OpenLDAP tools)
 *    and the library's own codes (zafoldap/error.h); QLIBCErrGet (platform/error.h) holds
 *    generic conditions. After a failure read the first and, if it is 0, the second. Clear the
 *    first with ZAFOLDAPErrReset before any call whose failure you want to explain, or it may
 *    still hold an older code.
 *
 * 3. Bad arguments. Every function first checks its pointer arguments in the order of its
 *    parameters, each record before the fields it needs. A failed check is logged
 *    as "FILE:LINE Invaild Argument (CONDITION)=[0]", sets platform error 0x0D00 and fails the call
 *    without any other effect.
 *
 * 4. Records are declared by the caller, set up by their Init function and
 *    released by their Free function, which frees what they own and zeroes
 *    them. Strings in a record are borrowed unless the record says that it
 *    owns them. Free lists and maps that a function returns with the platform's free functions;
 *    strings that a function returns point into the record they came from, or are constants.
 *
 * 5. Out of memory sets platform error 0x0200 and fails the call. No C++
 *    exception leaves the library.
 *
 * 6. One thread at a time. Functions are synchronous: they run their tools one after the other and
 *    wait. Records are independent of each other; the error slots, the debug switch and the
 *    counters of temporary names belong to the process.
 *
 * 7. Diagnostics go to syslog at priority 3 (error). Command lines, tool output and exit codes are
 *    logged only if "/tmp/zafoldap_debug", owned by root or the effective user, is readable at the
 *    process's first check (zafoldap/debug.h). The tools inherit standard error; those of the host
 *    platform print there why something failed, but no message when the library asked a question
 *    whose answer is "no".
 */
#ifndef ZAFOLDAP_H
#define ZAFOLDAP_H

#include "zafoldap/backup.h"
#include "zafoldap/browser.h"
#include "zafoldap/connection.h"
#include "zafoldap/debug.h"
#include "zafoldap/dn.h"
#include "zafoldap/error.h"
#include "zafoldap/group.h"
#include "zafoldap/home.h"
#include "zafoldap/host.h"
#include "zafoldap/ldif.h"
#include "zafoldap/lock.h"
#include "zafoldap/membership.h"
#include "zafoldap/migrate.h"
#include "zafoldap/modify.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/result.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"
#include "zafoldap/server.h"
#include "zafoldap/suggest.h"
#include "zafoldap/user.h"

#endif
