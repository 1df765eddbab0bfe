// SPDX-License-Identifier: Apache-2.0
//
// The texts of all failures: what happened and where, then what to do.
#include <algorithm>
#include <iterator>

#include "tools/cli/message.h"

namespace zafo::cli {

namespace {

// The enumerators are visible in the table only.
namespace table {

using enum Message;

constexpr std::string_view kLdap = "ldap_error";
constexpr std::string_view kOwn = "zafoldap";

constexpr MessageRow kRows[] = {
    // The library's pairs.
    {kErrorSystem, "common", "error_system", 1, "the operation failed on this system",
     "the system log has the reason (journalctl, or /var/log/messages)"},
    {kErrorOccupied, "common", "error_occupied", 8, "another process is doing this right now",
     "wait until it has finished and try again"},
    {kLdapServerNotSupport, kLdap, "ldap_server_not_support", 1,
     "{server} does not support this: it lacks an attribute or matching rule",
     "see what the server supports: zafoldap connection check {connection}"},
    {kLdapUsernameAlreadyExists, kLdap, "ldap_username_already_exists", 5,
     "the user name {subject} is taken",
     "choose another name, or change the existing user: zafoldap user show {subject}"},
    {kLdapGroupnameAlreadyExists, kLdap, "ldap_groupname_already_exists", 5,
     "the group name {subject} is taken",
     "choose another name, or change the existing group: zafoldap group show {subject}"},
    {kLdapUidAlreadyExists, kLdap, "ldap_uid_already_exists", 5,
     "the user number {subject} is taken",
     "choose another number, or leave it out to get the next free one"},
    {kLdapGidAlreadyExists, kLdap, "ldap_gid_already_exists", 5,
     "the group number {subject} is taken",
     "choose another number, or leave it out to get the next free one"},
    {kErrBackupLocked, "backup", "err_backup_locked", 8, "a backup is running",
     "wait until it has finished and try again: zafoldapserver progress --follow"},
    {kErrRestoreLocked, "backup", "err_restore_locked", 8, "a restore is running",
     "wait until it has finished and try again: zafoldapserver progress --follow"},
    {kErrInvalidShare, "backup", "err_invalid_share", 3, "the backup destination cannot be used",
     "see the settings with zafoldapserver backup config show; choose a separate folder: "
     "zafoldapserver backup config set --dir DIR, or --share NAME"},
    {kErrInvalidBkpFile, "backup", "err_invalid_bkp_file", 1, "this is not a usable backup file",
     "zafoldapserver backup list shows all backups; zafoldapserver restore --latest restores the "
     "newest complete one"},
    {kErrPyxVersion, "backup", "err_pyx_version", 1,
     "the backup comes from a newer version of this system",
     "restore it on a system of that version, or upgrade this one"},
    {kErrPkgVersion, "backup", "err_pkg_version", 1,
     "the backup comes from a newer version of the directory server",
     "install that version of slapd or a later one, then restore"},
    {kErrDiskFull, "backup", "err_disk_full", 1, "there is not enough space",
     "free space on the file system that is full, keep fewer backups or choose another destination "
     "(zafoldapserver backup config set); a full database needs a larger maxsize in slapd.conf"},
    {kErrRootPartitionFull, "backup", "err_root_partition_full", 1, "the system partition is full",
     "free space on the file system of /usr/zafo and try again"},
    {kLdapOperationsError, kLdap, "ldap_operations_error", 1,
     "{server} or the LDAP tool reported a general failure",
     "the detail is the tool's own message; try zafoldap connection check {connection}"},
    {kLdapProtocolError, kLdap, "ldap_protocol_error", 1, "{server} did not understand the request",
     "check that this is an LDAP version 3 server: zafoldap connection check {connection}"},
    {kLdapTimelimitExceeded, kLdap, "ldap_timelimit_exceeded", 6,
     "{server} stopped the search at its time limit",
     "narrow the search with a filter or a deeper --base"},
    {kLdapInsufficientModify, kLdap, "ldap_insufficient_modify", 4,
     "{server} requires stronger authentication for this",
     "encrypt the connection: zafoldap connection edit {connection} --ssl start_tls"},
    {kLdapNoSuchObject, kLdap, "ldap_no_such_object", 3, "{subject} does not exist on {server}",
     "check the DN; zafoldap search --base with a DN above it lists what exists"},
    {kLdapInvalidDnSyntax, kLdap, "ldap_invalid_dn_syntax", 2,
     "{server} does not accept the DN {subject}",
     "write it like uid=alice,ou=people,dc=example,dc=com, with a comma inside a value as \\,"},
    {kLdapInvalidCredentials, kLdap, "ldap_invalid_credentials", 4,
     "{server} refused the password of {bind_dn}",
     "set it again: zafoldap connection edit {connection} --ask-password; or correct the "
     "--bind-dn"},
    {kLdapInsufficientAccess, kLdap, "ldap_insufficient_access", 4,
     "{server} does not allow {bind_dn} to do this",
     "use a connection whose bind DN has the permission, or ask the server's administrator to "
     "grant it"},
    {kLdapAlreadyExists, kLdap, "ldap_already_exists", 5, "{subject} already exists on {server}",
     "choose another name, or change the existing entry"},

    // LDAP result codes for which the library has no pair (RFC 4511 appendix A).
    {kSizeLimit, kOwn, "size_limit", 1,
     "{server} stopped at a size limit: the answer is incomplete",
     "narrow the search with a filter or a deeper --base, or have the server's limit for {bind_dn} "
     "raised"},
    {kAuthMethod, kOwn, "auth_method", 4,
     "{server} does not allow {bind_dn} to authenticate this way",
     "bind with a DN and a password: zafoldap connection edit {connection} --bind-dn DN"},
    {kReferral, kOwn, "referral", 1, "{server} refers to another server for this entry",
     "add a connection to the server that the detail names"},
    {kConfidentiality, kOwn, "confidentiality", 4, "{server} requires an encrypted connection",
     "encrypt it: zafoldap connection edit {connection} --ssl start_tls"},
    {kInvalidValue, kOwn, "invalid_value", 1, "{server} does not accept a value or an attribute",
     "the detail names it; correct the value"},
    {kServerBusy, kOwn, "server_busy", 8, "{server} is too busy", "try again later"},
    {kServerUnavailable, kOwn, "server_unavailable", 6, "{server} is shutting down or not ready",
     "try again later; the server's log has the reason"},
    {kLdapResult, kOwn, "ldap_result", 1, "{server} answered with LDAP result code {reason}",
     "RFC 4511, appendix A, explains the code; the detail is the tool's own message"},

    // Conditions known only from the tool's words.
    {kServerUnreachable, kOwn, "server_unreachable", 6, "{server} cannot be reached",
     "see which step fails: zafoldap connection check {connection}"},
    {kServerTimedOut, kOwn, "server_timed_out", 6, "{server} did not answer in time",
     "check that it is an LDAP server and not overloaded: zafoldap connection check {connection}"},
    {kTlsFailed, kOwn, "tls_failed", 6, "cannot establish an encrypted connection to {server}",
     "see what is wrong with the certificate: zafoldap connection check {connection}"},
    {kToolNotStarted, kOwn, "tool_not_started", 1, "the LDAP tool {subject} cannot be started",
     "reinstall the appliance's tools; the system log has the reason"},
    {kOpenFilesLimit, kOwn, "open_files_limit", 1,
     "{subject} cannot be {reason}: too many open files",
     "raise the limit and run the command again: ulimit -n 1024"},
    {kOpenFilesOfSystem, kOwn, "open_files_of_system", 1,
     "{subject} cannot be {reason}: too many open files on this system",
     "close other programs, or raise the system's limit: sysctl fs.file-max shows it"},
    {kProcessLimit, kOwn, "process_limit", 1, "{subject} cannot be started: too many processes",
     "close other programs, or raise the limit: ulimit -u shows it"},
    {kToolEnded, kOwn, "tool_ended", 1,
     "the LDAP tool stopped in the middle of the answer from {server}",
     "try again; if it happens again, the system log may have the reason"},
    {kTemporaryFolder, kOwn, "temporary_folder", 1,
     "cannot write the change file in {subject}: {reason}",
     "check free space and permissions: df -h {subject}; df -i {subject}; ls -ld {subject}. Then "
     "run the command again"},
    {kAnswerUnreadable, kOwn, "answer_unreadable", 1, "the answer from {server} cannot be read",
     "try again; if it happens again, the system log may have the reason"},
    {kAnswerBroken, kOwn, "answer_broken", 6,
     "the connection to {server} ended in the middle of the answer, or an entry is too large",
     "try again; the limits are 32 MiB per entry and 12 MiB per value: name only the attributes "
     "you need, with --fields or after the filter of zafoldap search"},
    {kEntryTooLarge, kOwn, "entry_too_large", 1,
     "{server} sent an entry larger than 32 MiB or a value larger than 12 MiB: the answer is "
     "incomplete",
     "leave that entry or attribute out: name only the attributes you need, with --fields or after "
     "the filter of zafoldap search"},
    {kAnswerEndless, kOwn, "answer_endless", 1,
     "the answer from {server} was cut off at a limit: it is incomplete",
     "narrow the search with a filter or a deeper --base, or raise the limit that the detail "
     "names: answer_time or answer_size in /usr/zafo/etc/tools.conf"},
    {kOutOfMemory, kOwn, "out_of_memory", 1,
     "not enough memory: a program may use at most 1024 MiB",
     "ask for less, or close other programs"},

    // Saved connections.
    {kConnectionMissing, kOwn, "connection_missing", 3,
     "there is no saved connection \"{connection}\"",
     "zafoldap connection list shows all; zafoldap connection add {connection} --uri HOST --base "
     "DN creates it"},
    {kConnectionExists, kOwn, "connection_exists", 5,
     "the connection \"{connection}\" already exists",
     "change it with zafoldap connection edit {connection}, or choose another name"},
    {kConnectionIncomplete, kOwn, "connection_incomplete", 1,
     "the connection \"{connection}\" has no {subject}",
     "add it with zafoldap connection edit {connection}"},
    {kConnectionsUnreadable, kOwn, "connections_unreadable", 4,
     "{subject} cannot be read: {reason}", "run the program as the user who owns the file (root)"},
    {kConnectionsDamaged, kOwn, "connections_damaged", 1, "{subject} is damaged{reason}",
     "correct that line in an editor, or move the file away and add the connections again; it "
     "has not been changed"},
    {kConnectionsUnwritable, kOwn, "connections_unwritable", 4,
     "{subject} cannot be written: {reason}",
     "run the program as root and make sure that the disk is not full; the file is unchanged"},
    {kPasswordUndecipherable, kOwn, "password_undecipherable", 1,
     "the stored password of the connection \"{connection}\" cannot be deciphered on this machine",
     "set it again: zafoldap connection edit {connection} --ask-password"},

    // Input.
    {kUsage, kOwn, "usage", 2, "{reason}", "see {subject}"},
    {kBadFilter, kOwn, "bad_filter", 2, "the filter is wrong: {reason}",
     "write it like (&(objectClass=person)(cn=a*)); inside a value ( ) * \\ are \\28 \\29 \\2a "
     "\\5c"},
    {kBadDn, kOwn, "bad_dn", 2, "{subject} is not a DN: {reason}",
     "write it like ou=people,dc=example,dc=com; inside a value , + \" \\ < > ; need a \\ before "
     "them"},
    {kBadAttribute, kOwn, "bad_attribute", 2, "\"{subject}\" is not an attribute name",
     "write the names after the filter, for example: zafoldap search '(uid=alice)' cn mail"},
    {kBadName, kOwn, "bad_name", 2, "\"{subject}\" cannot be the name of a connection",
     "use 1 to 64 letters, digits, dots, underscores or hyphens"},
    {kBadAddress, kOwn, "bad_address", 2, "\"{subject}\" is not a server address: {reason}",
     "write HOST, HOST:PORT, ldap://HOST or ldaps://HOST; an IPv6 address in [ ]"},
    {kBadText, kOwn, "bad_text", 2, "the value of {subject} is not usable: {reason}",
     "give one line of UTF-8 text"},
    {kNothingToChange, kOwn, "nothing_to_change", 2, "nothing to change was given",
     "name what to change, see {subject} --help"},
    {kConfirmationNeeded, kOwn, "confirmation_needed", 2,
     "{subject} needs confirmation, but the program cannot prompt for it",
     "add --yes if you are sure"},
    {kRefused, kOwn, "refused", 2, "{subject}: not confirmed, nothing was changed",
     "to continue, run it again and answer y"},
    {kPasswordNeeded, kOwn, "password_needed", 2,
     "a password is needed, but the program cannot prompt for it",
     "give it with --password-stdin or --password-file FILE"},
    {kPasswordMismatch, kOwn, "password_mismatch", 2,
     "the two passwords differ; nothing was changed",
     "run the command again and type the same password twice"},
    {kPasswordBad, kOwn, "password_bad", 2, "this password cannot be used: {reason}",
     "use one line of at most 1023 bytes that is not empty"},
    {kPasswordFileOpen, kOwn, "password_file_open", 2,
     "the password file {subject} can be read by others: {reason}",
     "make it private first: chmod 600 {subject}"},
    {kPasswordFileUnreadable, kOwn, "password_file_unreadable", 2,
     "the password file {subject} cannot be read: {reason}",
     "check the path and who owns the file"},

    // Accounts: what the user typed.
    {kAccountName, kOwn, "account_name", 2, "{subject} is not a valid account name: {reason}",
     "use at most 32 of a to z, 0 to 9, \"_\", \".\" and \"-\", starting with a letter or \"_\"; "
     "--any-name accepts more"},
    {kUnusualName, kOwn, "unusual_name", 2,
     "{subject} contains one of the characters * ( ) \\, so it cannot be changed by name",
     "change this entry by its DN: zafoldap search finds it, zafoldap entry delete removes it"},
    {kAccountNumber, kOwn, "account_number", 2, "{subject} is not a valid account number: {reason}",
     "use a number from 1 to 4294967294 except 65534 and 65535, or leave it out to get the next "
     "free one"},
    {kNumberOutsidePool, kOwn, "number_outside_pool", 2,
     "the number {subject} is outside the directory's pool, {reason}",
     "choose one inside the pool, or leave it out to get the next free one; see zafoldap id pool "
     "show"},
    {kBadDate, kOwn, "bad_date", 2, "\"{subject}\" is not a date",
     "write it like 2027-12-31, or never"},
    {kPasswordWeak, kOwn, "password_weak", 2, "this password is too weak: {reason}",
     "use at least 8 characters other than the name, or --random-password; --weak-password accepts "
     "it anyway"},
    {kGidNeeded, kOwn, "gid_needed", 2,
     "a primary group is needed, and the directory has no group \"users\"",
     "name one with --gid GROUP; zafoldap group list shows them, zafoldap group add creates one"},
    {kTooLong, kOwn, "too_long", 2,
     "{subject} is too long: a DN may have 1023 bytes, a filter 2047", "use a shorter name"},

    // Accounts: what the directory answered.
    {kUserMissing, kOwn, "user_missing", 3, "there is no user {subject} on {server}",
     "check the name; zafoldap user list 'A*' lists those that begin with A"},
    {kGroupMissing, kOwn, "group_missing", 3, "there is no group {subject} on {server}",
     "check the name; zafoldap group list shows all"},
    {kContainerMissing, kOwn, "container_missing", 3,
     "{subject}, where new accounts go, does not exist on {server}",
     "choose another place with --container, such as --container ou=people"},
    {kNameAmbiguous, kOwn, "name_ambiguous", 1, "{subject} is the name of several entries",
     "nothing was changed; the detail shows them, zafoldap entry delete removes one by its DN"},
    {kMembershipsLeft, kOwn, "memberships_left", 5,
     "{reason} {subject}, which would make the user a member: the name is left over from an "
     "earlier user, or was listed in advance",
     "remove the name first: {finish}; or keep it there with --keep-memberships"},
    {kNumberLocal, kOwn, "number_local", 5,
     "the number {subject} belongs to the local account {reason}",
     "choose another number, or leave it out to get the next free one"},
    {kNameLocal, kOwn, "name_local", 5, "{subject} is the name of a local account of this system",
     "choose another name; --any-name accepts it anyway"},
    {kClassMissing, kOwn, "class_missing", 1,
     "{subject} needs the object class {reason}, which the entry or the "
     "schema of {server} lacks",
     "run it again without {subject}; zafoldap connection check {connection} shows what the schema "
     "has"},
    {kAttributeMissing, kOwn, "attribute_missing", 1,
     "{server} no longer has the value to be changed",
     "somebody else may have changed {subject} meanwhile: check it and try again"},
    {kHasChildren, kOwn, "has_children", 1, "{subject} has entries below it",
     "delete those first; zafoldap search --scope children --base DN lists them"},
    {kNoPool, kOwn, "no_pool", 3, "the directory on {server} has no pool of numbers",
     "only the appliance's own kind of server has one; zafoldap id next works without it"},
    {kPoolFailed, kOwn, "pool_failed", 1, "no number can be taken from the directory's pool",
     "see its limits with zafoldap id pool show, and run zafoldap id check"},
    {kIdsWrong, kOwn, "ids_wrong", 1, "{reason}", "each failed check says what to do"},
    {kHomesUnpublished, kOwn, "homes_unpublished", 3,
     "the directory on {server} publishes no home folders",
     "name their location with --export HOST:PATH, or publish it first, on the server: "
     "zafoldapserver automount set HOST PATH"},
    {kHomesRefused, kOwn, "homes_refused", 1,
     "\"{subject}\", the location of home folders in the directory on {server}, is not mounted: "
     "{reason}",
     "check who may write the entry automountKey=*,automountMapName=auto_home; on the server, "
     "zafoldapserver automount set publishes the location again, here --export HOST:PATH names "
     "one"},
    {kHomeFailed, kOwn, "home_failed", 1, "the home folder of {subject} cannot be created",
     "run this as root where the export can be mounted; the system log has the reason"},
    {kPartlyDone, kOwn, "partly_done", 7, "{subject}, but {reason}", "to finish: {finish}"},
    {kAllowedMissing, kOwn, "allowed_missing", 3,
     "--allow names {subject}, but there is no such {reason} to copy",
     "leave --allow out to see which are refused; --dry-run changes nothing"},
    {kMigrationStopped, kOwn, "migration_stopped", 130, "stopped: {subject}",
     "what was added stays; to continue: {finish}"},
    {kMigrationPartial, kOwn, "migration_partial", 7, "{subject}",
     "each skipped one shows its reason; fix these, then run it again: {finish}"},
    {kMigrationFailed, kOwn, "migration_failed", 1, "{subject}: {reason}",
     "the reasons are shown with the accounts or in the system log (journalctl, or "
     "/var/log/messages)"},
    {kStateUnknown, kOwn, "state_unknown", 1,
     "{reason}, and {server} cannot be asked for the outcome",
     "check it when the server answers again: {finish}"},
    {kPasswordRefused, kOwn, "password_refused", 1,
     "{server} does not accept the new password of {subject}",
     "the detail is its reason; the old password is still valid"},
    {kNoRandom, kOwn, "no_random", 1, "the system provides no random numbers: {reason}",
     "try again later"},

    // The appliance's own server.
    {kNotRoot, kOwn, "not_root", 4, "{subject} must be run as root", "run it with sudo"},
    {kServerNotSetUp, kOwn, "server_not_set_up", 4, "the directory server is not set up",
     "zafoldapserver enable --suffix dc=example,dc=com sets it up"},
    {kSuffixBad, kOwn, "suffix_bad", 2, "{subject} is not a valid suffix: {reason}",
     "write it like dc=example,dc=com, using dc, o, ou, c, l, st or cn"},
    {kAdminDnBad, kOwn, "admin_dn_bad", 2, "{subject} is not a valid administrator DN: {reason}",
     "write it like cn=admin,{finish}, or leave it out"},
    {kServerPassword, kOwn, "server_password", 2,
     "this cannot be the administrator's password: {reason}",
     "use one line of at least 8 characters and at most 1023 bytes, or --random-password"},
    {kFolderUnwritable, kOwn, "folder_unwritable", 1, "{subject} cannot be written: {reason}",
     "create the folder, or mount its file system for writing; nothing was changed"},
    {kSpaceLow, kOwn, "space_low", 1, "not enough space for the database in {subject}: {reason}",
     "free space there until at least 64 MiB are available; nothing was changed"},
    {kPortTaken, kOwn, "port_taken", 1, "port {subject} is in use by another program",
     "stop that program (ss -ltnp names it), or make the server listen elsewhere: key listen in "
     "/usr/zafo/etc/service/ldap-server.conf"},
    {kOtherDatabase, kOwn, "other_database", 5,
     "the database belongs to {subject}, not to {reason}",
     "keep that suffix, or delete the database with all accounts first: zafoldapserver reset"},
    {kAdministratorEntry, kOwn, "administrator_entry", 5,
     "the database has an entry with the administrator's DN, {subject}",
     "anyone who knows its password would be the administrator: delete it (zafoldap entry delete "
     "'{subject}'), or choose another --admin-dn; nothing was changed"},
    {kTemplateUnreadable, kOwn, "template_unreadable", 1,
     "cannot make a configuration from {subject}: {reason}",
     "reinstall the appliance's files; nothing was changed"},
    {kConfigurationRefused, kOwn, "configuration_refused", 1,
     "slapd does not accept the configuration made from {subject}",
     "the detail is slapd's reason: correct that file, or reinstall it; nothing was changed"},
    {kSlapdMissing, kOwn, "slapd_missing", 1, "{subject} cannot be started",
     "install OpenLDAP's server (slapd)"},
    {kServiceMissing, kOwn, "service_missing", 1, "the service {subject} cannot be enabled",
     "reinstall the appliance's files; the system log has the reason"},
    {kEnableFailed, kOwn, "enable_failed", 7, "the server could not be set up: {reason}",
     "completed steps stay, no account is lost. See /var/log/messages and zafoldapserver check, "
     "then run the same command again: it continues from here"},
    {kServerNotEnabled, kOwn, "server_not_enabled", 1, "the service ldap-server is not enabled",
     "zafoldapserver enable --suffix {subject} enables it and starts the server"},
    {kServerNotStarted, kOwn, "server_not_started", 1, "the server does not start",
     "see zafoldapserver check, and /var/log/messages for slapd's own reason"},
    {kServerNotStopped, kOwn, "server_not_stopped", 1, "the server did not stop in time",
     "it may still be writing: check zafoldapserver status, then try again"},
    {kSuffixNotTyped, kOwn, "suffix_not_typed", 2,
     "{subject}: the suffix was not typed, nothing was changed",
     "run it again and type the suffix as shown"},
    {kResetFailed, kOwn, "reset_failed", 7, "the server could not be reset: {reason}",
     "see /var/log/messages, then run the same command again"},
    {kServerFileUnreadable, kOwn, "server_file_unreadable", 1, "{subject} cannot be read: {reason}",
     "zafoldapserver check has details; zafoldapserver enable rewrites it"},
    {kServerUnwell, kOwn, "server_unwell", 1, "{reason}", "each failed check says what to do"},
    {kExportBad, kOwn, "export_bad", 2,
     "\"{subject}\" is not a valid location for home folders: {reason}",
     "write it like: zafoldapserver automount set nas.example.com /volume1/homes"},

    // Backups.
    {kBackupNoDestination, kOwn, "backup_no_destination", 3, "no backup destination is set",
     "zafoldapserver backup config set --dir DIR, or --share NAME, sets one"},
    {kBackupNone, kOwn, "backup_none", 3, "there is no backup in {subject} that can be restored",
     "zafoldapserver backup list shows what exists; zafoldapserver backup now makes one"},
    {kBackupOtherSuffix, kOwn, "backup_other_suffix", 1,
     "the backup is of the directory {subject}, but this server holds {reason}",
     "choose a backup of this directory: zafoldapserver backup list"},
    {kBackupSettingsFailed, kOwn, "backup_settings_failed", 1,
     "the backup settings in {subject} are not usable: {reason}",
     "correct that file, or remove it and configure backups again: zafoldapserver backup config "
     "set"},
    {kScheduleFailed, kOwn, "schedule_failed", 1,
     "the schedule in {subject} cannot be changed: {reason}",
     "make sure that cron is installed and the disk is not full; the schedule is unchanged"},
    {kBackupProgramMissing, kOwn, "backup_program_missing", 1, "{subject} cannot be started",
     "reinstall the appliance's files"},
    {kJobNotStarted, kOwn, "job_not_started", 1, "cannot start a process: {reason}",
     "close other programs and try again"},
    {kJobLost, kOwn, "job_lost", 1, "the {subject} was killed",
     "see zafoldapserver progress and /var/log/messages; a killed restore is recovered before the "
     "server starts again"},
    {kJobLeftNoWord, kOwn, "job_left_no_word", 1, "the {subject} ended without reporting a result",
     "see /var/log/messages, and zafoldapserver check"},
    {kProgressUnreadable, kOwn, "progress_unreadable", 1, "{subject} cannot be read",
     "make sure that it is a regular file, or remove it; the next backup rewrites it"},

    // The program itself.
    {kOutputFailed, kOwn, "output_failed", 1, "the output cannot be written: {reason}",
     "check the disk, or the program that reads the output"},
    {kInterrupted, kOwn, "interrupted", 130, "interrupted", "nothing was changed; run it again"},
    {kCheckName, kOwn, "check_name", 6, "cannot resolve the name {subject}: {reason}",
     "check the spelling and this machine's DNS settings, or use the server's IP address"},
    {kCheckConnect, kOwn, "check_connect", 6, "cannot connect to {subject}: {reason}",
     "check that the server is running, its port, and any firewalls in between"},
    {kCheckSchema, kOwn, "check_schema", 1, "{server} lacks the object class {subject}",
     "add the schema that defines it to the server (for POSIX accounts: nis.schema, RFC 2307)"},
};

}  // namespace table

constexpr bool InOrder() {
    for (size_t i = 0; i < std::size(table::kRows); ++i) {
        if (table::kRows[i].id != static_cast<Message>(i)) return false;
    }
    return true;
}
static_assert(InOrder(), "a row for each enumerator of Message, in their order");

}  // namespace

std::span<const MessageRow> MessageTable() {
    return table::kRows;
}

const MessageRow &RowOf(Message id) {
    return table::kRows[static_cast<size_t>(id)];
}

const MessageRow *FindMessage(std::string_view section, std::string_view key) {
    const auto found = std::ranges::find_if(table::kRows, [&](const MessageRow &row) {
        return row.section == section && row.key == key;
    });
    return found == std::end(table::kRows) ? nullptr : &*found;
}

}  // namespace zafo::cli
