// SPDX-License-Identifier: Apache-2.0
//
// File operations that survive a power failure once the call has returned.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/job_error.h"

namespace zafo::backup {

// A failure to write below the server's folder, by errno: kRootFullWhileWriting or kSystem.
JobError RootError(const std::string &doing, int reason);

// Flushes a folder's names to disk. Throws JobError.
void SyncFolderOrThrow(const std::string &folder);

// Flushes a file's content to disk. Throws JobError.
void SyncFileOrThrow(const std::string &path);

// Suffix of a file that is still being written. A leftover belongs to a killed writer.
inline constexpr const char *kUnfinished = ".part";

// Atomically replaces a file, mode 0600; the group `reader` may read it, if the file can be given
// to that group. Throws JobError and then leaves the previous file unchanged.
void WriteDurably(const std::string &path, std::string_view text, std::optional<gid_t> reader = {});

// Removes a file if it exists. Throws JobError.
void RemoveDurably(const std::string &path);

}  // namespace zafo::backup
