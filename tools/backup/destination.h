// SPDX-License-Identifier: Apache-2.0
//
// Whether a folder is suitable for backups.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/backup/backup_folder.h"

namespace zafo::backup {

// Throws JobError kBadPlace with the reason: no folder is set, its path is not absolute, it does
// not exist, it is a link or not a folder, it is not writable, or it is inside the database.
void CheckDestination(const std::string &folder);

// A way for someone other than root to write to the folder or to replace it.
struct Exposure {
    std::string reason;  // "/volume1 is writable by everybody"
    std::string remedy;  // "chmod go-w /volume1"
};

// Checks the folder and its parents, including links on the way. For a parent, the sticky bit is
// enough: nobody can rename another user's entries there.
std::vector<Exposure> ExposuresOf(const std::string &folder);

// Bytes that a file occupies on disk; std::nullopt if it does not exist.
std::optional<std::uint64_t> AllocatedSize(const char *path);

// Estimated size of the next backup: slightly more than the newest; for the first one, a quarter of
// the database, since backups are compressed.
std::uint64_t NeededBytes(const std::vector<FoundBackup> &found, std::uint64_t database_bytes);

// Throws JobError kTooFull when the next backup does not fit in the folder.
void CheckSpace(const std::string &folder, const std::vector<FoundBackup> &found);

}  // namespace zafo::backup
