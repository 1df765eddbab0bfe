// SPDX-License-Identifier: Apache-2.0
//
// Paths of the appliance that several files use (zafoldap/server.h, zafoldap/backup.h,
// platform/*.h).
#pragma once

namespace zafo {

// --- The directory server ---------------------------------------------------------------------

inline constexpr const char *kServerService = "ldap-server";
inline constexpr const char *kOwnConnection = "root";  // the saved connection to it

inline constexpr const char *kServerFolder = "/usr/zafo/etc/openldap";
inline constexpr const char *kSlapdConf = "/usr/zafo/etc/openldap/slapd.conf";
inline constexpr const char *kSlapdTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
inline constexpr const char *kAccessRules = "/usr/zafo/etc/openldap/slapd-acls.conf";
inline constexpr const char *kDatabaseFolder = "/usr/zafo/etc/openldap/data";
inline constexpr const char *kDatabaseFile = "/usr/zafo/etc/openldap/data/data.mdb";
// Exists if and only if the database holds data, regardless of the files of its back end.
inline constexpr const char *kDatabaseMarker = "/usr/zafo/etc/openldap/data/dn2id.bdb";
inline constexpr const char *kSlapdPidFile = "/var/run/slapd.pid";
inline constexpr const char *kStartLockFile = "/var/run/ldap-server-start.lock";

// --- Services ---------------------------------------------------------------------------------

inline constexpr const char *kServiceFolder = "/usr/zafo/etc/service";
inline constexpr const char *kServiceDefaultsFolder = "/usr/zafo/etc.defaults/service";
inline constexpr const char *kServiceSettings = "/usr/zafo/etc/service/ldap-server.conf";
inline constexpr const char *kServiceDefaults = "/usr/zafo/etc.defaults/service/ldap-server.conf";
inline constexpr const char *kServiceRecords = "/run/zafo-service";
inline constexpr const char *kSystemdRuns = "/run/systemd/system";
inline constexpr const char *kSystemctl = "/usr/bin/systemctl";

// --- Settings ---------------------------------------------------------------------------------

inline constexpr const char *kPrivateFolder = "/usr/zafo/etc/private";
inline constexpr const char *kConnectionFile = "/usr/zafo/etc/private/ldapbrowser.conf";
inline constexpr const char *kBindConf = "/usr/zafo/etc/nslcd.conf";
inline constexpr const char *kAccountConf = "/usr/zafo/etc/account.conf";
inline constexpr const char *kScheduleTable = "/etc/cron.d/zafo";
inline constexpr const char *kTrustFolder = "/usr/zafo/etc/ssl";
inline constexpr const char *kAuthority = "/usr/zafo/etc/ssl/ca.pem";  // trusted by the tools
inline constexpr const char *kRunFolder = "/var/run";
inline constexpr const char *kSystemLog = "/var/log/messages";

// --- Backups ----------------------------------------------------------------------------------

inline constexpr const char *kBackupConf = "/usr/zafo/etc/ldapbackup.conf";
inline constexpr const char *kBackupProgram = "/usr/zafo/bin/zafoldapbackup";
// Runs the task; the scheduler identifies the task by this command.
inline constexpr const char *kBackupCommand =
    "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2";
// Written by the backup program: "key=value" lines.
inline constexpr const char *kProgressFile = "/var/log/zafoldap.progress";

// --- Tools: links to the tool front -----------------------------------------------------------

inline constexpr const char *kLdapsearch = "/usr/zafo/bin/ldapsearch";
inline constexpr const char *kSlapadd = "/usr/zafo/bin/slapadd";
inline constexpr const char *kSlapcat = "/usr/zafo/bin/slapcat";
inline constexpr const char *kOpenssl = "/usr/zafo/bin/openssl";

}  // namespace zafo
