// SPDX-License-Identifier: Apache-2.0
//
// Whether a folder is one to write backups into.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/backup/backup_folder.h"

namespace zafo::backup {

// Throws JobError kBadPlace, with the reason: no folder is set, there is none, it is a link or something
// else, it may not be written, it is the database's own.
void CheckDestination(const std::string &folder);

// Somebody besides root who can write into a folder, or put another in its place.
struct Exposure {
    std::string reason;  // "/volume1 can be written by others"
    std::string remedy;  // "chmod go-w /volume1"
};

// The folder and those above it, links on the way included. Above it, a folder in which nobody can rename what is
// another's (the sticky bit) is good enough.
std::vector<Exposure> ExposuresOf(const std::string &folder);

// About what the next backup takes: a little more than the newest one; or, being the first, a quarter
// of the database, whose entries are compressed in a backup.
std::uint64_t NeededBytes(const std::vector<FoundBackup> &found, std::uint64_t database_bytes);

// Throws JobError kTooFull when the folder has no room for the next backup.
void CheckSpace(const std::string &folder, const std::vector<FoundBackup> &found);

}  // namespace zafo::backup
