/* SPDX-License-Identifier: Apache-2.0
 *
 * The library's error slot and the messages for its codes.
 *
 * Codes come in two ranges. Small positive codes are LDAP result codes
 * (RFC 4511 section 4.1.9), which are the exit codes of the OpenLDAP tools;
 * 255 is the tools' generic failure. Codes from -65536 downwards are the library's own
 * conditions. 0 means that the failure, if any, is only described by the
 * platform's slot (platform/error.h).
 *
 * The slot is one integer of the process, not of a thread.
 */
#ifndef ZAFOLDAP_ERROR_H
#define ZAFOLDAP_ERROR_H

#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* The library's own codes, each with the (section, key) of its message. */
enum {
    ZAFOLDAP_ERR_SYSTEM = -65536,              /* ("common", "error_system") */
    ZAFOLDAP_ERR_SERVER_NOT_SUPPORT = -65537,  /* ("ldap_error", "ldap_server_not_support") */
    ZAFOLDAP_ERR_USERNAME_EXISTS = -65538,     /* ("ldap_error", "ldap_username_already_exists") */
    ZAFOLDAP_ERR_GROUPNAME_EXISTS = -65539,    /* ("ldap_error", "ldap_groupname_already_exists") */
    ZAFOLDAP_ERR_UID_EXISTS = -65540,          /* ("ldap_error", "ldap_uid_already_exists") */
    ZAFOLDAP_ERR_GID_EXISTS = -65541,          /* ("ldap_error", "ldap_gid_already_exists") */
    ZAFOLDAP_ERR_OCCUPIED = -65542,            /* ("common", "error_occupied") */
    ZAFOLDAP_ERR_BACKUP_LOCKED = -65543,       /* ("backup", "err_backup_locked") */
    ZAFOLDAP_ERR_RESTORE_LOCKED = -65544,      /* ("backup", "err_restore_locked") */
    ZAFOLDAP_ERR_INVALID_SHARE = -65545,       /* ("backup", "err_invalid_share") */
    ZAFOLDAP_ERR_INVALID_BACKUP_FILE = -65546, /* ("backup", "err_invalid_bkp_file") */
    ZAFOLDAP_ERR_PRODUCT_VERSION = -65547,     /* ("backup", "err_pyx_version") */
    ZAFOLDAP_ERR_PACKAGE_VERSION = -65548,     /* ("backup", "err_pkg_version") */
    ZAFOLDAP_ERR_DISK_FULL = -65549,           /* ("backup", "err_disk_full") */
    ZAFOLDAP_ERR_ROOT_PARTITION_FULL = -65550  /* ("backup", "err_root_partition_full") */
};

/* Stores `code` in the slot and returns it. */
ZAFOLDAP_API int ZAFOLDAPErrSet(int code);

/* Stores 0 in the slot and returns 0. */
ZAFOLDAP_API int ZAFOLDAPErrReset(void);

/* The slot's value. */
ZAFOLDAP_API int ZAFOLDAPErrGet(void);

/* The message key of a code, a constant; "" (never NULL) for a code without a
 * message, such as 0. When `pszSection` is not NULL, the key's section is stored in `*pszSection`,
 * which is unchanged when there is no message, so initialise it.
 *
 *     const char *szSection = "common";
 *     const char *szKey = ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), &szSection);
 *     if (szKey[0] != '\0') show(szSection, szKey);
 */
ZAFOLDAP_API const char *ZAFOLDAPErrGetString(int code, const char **pszSection);

ZAFOLDAP_END_DECLS

#endif
