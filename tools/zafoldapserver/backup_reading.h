// SPDX-License-Identifier: Apache-2.0
//
// Backup files and the folder of them, read for a person.
#pragma once

#include "tools/backup/backup_folder.h"
#include "tools/backup/manifest.h"
#include "tools/cli/session.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/database_census.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zafo::cli {

struct WholeBackup {
    std::string path = {};
    std::uint64_t bytes = 0;
    std::optional<std::time_t> created = {};
    backup::Manifest manifest = {};
    DatabaseCensus census = {};
};

// Reads a backup to its end and checks all there is to check. Throws Failure.
WholeBackup ReadWholeBackup(const std::string &path);

// "25 entries with 3 users and 4 groups"
std::string ContentInWords(const WholeBackup &whole);

// The backups of the destination, newest first. Throws Failure.
std::vector<backup::FoundBackup> FoundBackups(const BackupSettings &settings);

// "5 users", "1 group"
std::string Counted(std::uint64_t number, std::string_view noun);

// Sizes and times are for a program as it computes, and for a person in words.
Json SizeFor(const Session &session, unsigned long long bytes);
std::string UtcText(std::time_t when);  // "2027-02-28T14:03:00Z"
Json MomentFor(const Session &session, std::optional<std::time_t> when);

}  // namespace zafo::cli
