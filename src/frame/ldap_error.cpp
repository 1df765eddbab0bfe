// SPDX-License-Identifier: Apache-2.0
//
// The library's error slot, and the table that maps a code to the (section, key) of its message in
// the user interface.
#include "zafoldap/error.h"

namespace {

int g_error = 0;

struct ErrorRow {
    int code;
    const char *section;  // nullptr: default section
    const char *key;
};

constexpr const char *kDefaultSection = "ldap_error";

constexpr ErrorRow kErrorRows[] = {
    {-65536, "common", "error_system"},
    {-65537, nullptr, "ldap_server_not_support"},
    {-65538, nullptr, "ldap_username_already_exists"},
    {-65539, nullptr, "ldap_groupname_already_exists"},
    {-65540, nullptr, "ldap_uid_already_exists"},
    {-65541, nullptr, "ldap_gid_already_exists"},
    {-65542, "common", "error_occupied"},
    {-65543, "backup", "err_backup_locked"},
    {-65544, "backup", "err_restore_locked"},
    {-65545, "backup", "err_invalid_share"},
    {-65546, "backup", "err_invalid_bkp_file"},
    {-65547, "backup", "err_pyx_version"},
    {-65548, "backup", "err_pkg_version"},
    {-65549, "backup", "err_disk_full"},
    {-65550, "backup", "err_root_partition_full"},
    {1, nullptr, "ldap_operations_error"},
    {2, nullptr, "ldap_protocol_error"},
    {3, nullptr, "ldap_timelimit_exceeded"},
    {8, nullptr, "ldap_insufficient_modify"},
    {16, nullptr, "ldap_server_not_support"},
    {17, nullptr, "ldap_server_not_support"},
    {32, nullptr, "ldap_no_such_object"},
    {34, nullptr, "ldap_invalid_dn_syntax"},
    {49, nullptr, "ldap_invalid_credentials"},
    {50, nullptr, "ldap_insufficient_access"},
    {53, nullptr, "ldap_insufficient_access"},
    {68, nullptr, "ldap_already_exists"},
    {255, nullptr, "ldap_operations_error"},
};

}  // namespace

int ZAFOLDAPErrSet(int code) {
    g_error = code;
    return code;
}

int ZAFOLDAPErrReset() {
    return ZAFOLDAPErrSet(0);
}

int ZAFOLDAPErrGet() {
    return g_error;
}

const char *ZAFOLDAPErrGetString(int code, const char **section) {
    const ErrorRow *found = nullptr;
    for (const ErrorRow &row : kErrorRows) {
        if (row.code == code) found = &row;  // the last row of a code wins
    }
    if (found == nullptr) return "";
    if (section != nullptr) {
        *section = found->section != nullptr ? found->section : kDefaultSection;
    }
    return found->key;
}
