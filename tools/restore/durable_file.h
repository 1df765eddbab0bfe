// SPDX-License-Identifier: Apache-2.0
//
// Files and names that survive a loss of power once the call has returned.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/job_error.h"

namespace zafo::backup {

// A failure to write below the server's folder, by its errno: kRootFullWhileWriting or kSystem.
JobError RootError(const std::string &doing, int reason);

// The names in a folder are on the disk. Throws JobError.
void SyncFolderOrThrow(const std::string &folder);

// The content of a file is on the disk. Throws JobError.
void SyncFileOrThrow(const std::string &path);

// A file that is written has this behind its name until it is whole. One that is left is of a writer that
// was killed.
inline constexpr const char *kUnfinished = ".part";

// Replaces a file, mode 0600, in one step; the group `reader` may read it, where the file can be
// given to that. Throws JobError, and leaves the file that was there.
void WriteDurably(const std::string &path, std::string_view text, std::optional<gid_t> reader = {});

// Removes a file, which need not be there. Throws JobError.
void RemoveDurably(const std::string &path);

}  // namespace zafo::backup
