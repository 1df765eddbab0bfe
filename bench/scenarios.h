// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bench/connection.h"

namespace zafo::bench {

// The benchmarks' names: a piece of work, and which side does it.
inline constexpr const char *kReadFloor = "read_all/floor";
inline constexpr const char *kReadOurs = "read_all/library";
inline constexpr const char *kStopOurs = "stop_after_first/library";
inline constexpr const char *kBaseFloor = "base_search/floor";
inline constexpr const char *kBaseOurs = "base_search/library";
inline constexpr const char *kSpawnSmall = "spawn/small_process";
inline constexpr const char *kSpawnLarge = "spawn/1_gib_resident";
inline constexpr const char *kSecretFloor = "secret/without";
inline constexpr const char *kSecretOurs = "secret/with";
inline constexpr const char *kParseFloor = "parse/floor";
inline constexpr const char *kParseOurs = "parse/library";
inline constexpr const char *kCountFloor = "count/floor";
inline constexpr const char *kCountOurs = "count/library";
inline constexpr const char *kListFloor = "list/floor";
inline constexpr const char *kListOurs = "list/library";
inline constexpr const char *kNotInGroupMedium = "not_in_group/medium";
inline constexpr const char *kNotInGroupLarge = "not_in_group/large";
inline constexpr const char *kLookUpSmall = "look_up/small";
inline constexpr const char *kLookUpLarge = "look_up/large";
inline constexpr const char *kUserListFloor = "user_list/floor";
inline constexpr const char *kUserListOurs = "user_list/zafoldap";
inline constexpr const char *kUserListSmbldap = "user_list/smbldap";
inline constexpr const char *kUserListPython = "user_list/python";
inline constexpr const char *kUserStatFloor = "user_stat/floor";
inline constexpr const char *kUserStatOurs = "user_stat/zafoldap";

inline constexpr const char *kNumberFew = "free_number/few_used";
inline constexpr const char *kNumberMany = "free_number/many_used";

inline constexpr const char *kCreateFloor = "create_user/floor";
inline constexpr const char *kCreateOurs = "create_user/library";
inline constexpr const char *kCreateSmbldap = "create_user/smbldap";
inline constexpr const char *kCreateLdapscripts = "create_user/ldapscripts";

inline constexpr const char *kEnableFloor = "enable_server/floor";
inline constexpr const char *kEnableOurs = "enable_server/library";

inline constexpr const char *kBackupFloor = "backup/floor";
inline constexpr const char *kBackupOurs = "backup/library";
inline constexpr const char *kRestoreFloor = "restore/floor";
inline constexpr const char *kRestoreOurs = "restore/library";

inline constexpr const char *kMigrateFloor = "migrate_users/floor";
inline constexpr const char *kMigrateOurs = "migrate_users/library";
inline constexpr int kMigratedUsers = 500;

// How many numbers are in use in "free_number".
inline constexpr int kFewUsed = 10'000;
inline constexpr int kManyUsed = 100'000;

// Registers every benchmark, except those of peers that are not installed; `rounds` is how often
// the longest ones run.
void Register(const Connection &connection, int rounds);

// By topic: questions about accounts, new accounts, the own server, its backups, and many users in
// one call.
void RegisterAccounts(int rounds);
void RegisterCreation(int rounds);
void RegisterEnabling(int rounds);
void RegisterBackups(int rounds);
void RegisterMigration(int rounds);

// The peak memory of the backup program over all its runs, in KiB.
long PeakOfBackups();

}  // namespace zafo::bench
