// SPDX-License-Identifier: Apache-2.0
//
// Reading backup files and their folder for display.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/backup/backup_folder.h"
#include "tools/backup/manifest.h"
#include "tools/cli/session.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/database_census.h"

namespace zafo::cli {

// A backup that was read, and the descriptor it was read from: passing it on refers to these bytes.
struct WholeBackup {
    std::string path = {};
    std::uint64_t bytes = 0;
    std::optional<std::time_t> created = {};
    backup::Manifest manifest = {};
    DatabaseCensus census = {};
    std::string seal = {};
    zafo::UniqueFd file = {};
};

// Reads a backup to its end and checks everything. Throws Failure.
WholeBackup ReadWholeBackup(const std::string &path);

// "25 entries with 3 users and 4 groups"
std::string ContentInWords(const WholeBackup &whole);

// "3 accounts in it have a password that is not hashed …"; empty if all are hashed.
std::string ClearPasswordsInWords(const WholeBackup &whole);

// The contents of the destination. Throws Failure.
backup::FolderContents ContentsOfDestination(const BackupSettings &settings);

// Its backups, newest first; notes files that are named like a backup but do not count. Throws
// Failure.
std::vector<backup::FoundBackup> FoundBackups(Session &session, const BackupSettings &settings);

// What other users could do to the backups: a warning, and the command that fixes it. Empty if
// nothing.
struct ExposureInWords {
    std::string words = {};
    std::string remedy = {};
};
ExposureInWords ExposureOf(const BackupSettings &settings);

// In UTC for programs, in local time for people.
Json MomentFor(const Session &session, std::optional<std::time_t> when);

}  // namespace zafo::cli
