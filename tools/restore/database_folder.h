// SPDX-License-Identifier: Apache-2.0
//
// Database folders and the processes that use them.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/restore/journal.h"

namespace zafo::backup {

inline constexpr const char *kDataFile = "data.mdb";
inline constexpr const char *kLockFile = "lock.mdb";
// Exists if the database holds an entry.
inline constexpr const char *kMarkerFile = "dn2id.bdb";

// 0 for an unused name. Throws JobError if it is not a folder, or is a link to one.
FolderId IdOf(const std::string &folder);

// Creates a folder as the server would: mode 0700, owned by the server's user where possible.
// Throws JobError.
void MakeDatabaseFolder(const std::string &folder);

// Makes the server's user the owner of a file or folder where possible. Throws JobError.
void GiveToServer(const std::string &path);

// Atomically swaps the two names and syncs the parent folder. Throws JobError.
void SwapFolders(const std::string &one, const std::string &other);

// Removes a folder and its contents, if it exists. Throws JobError.
void RemoveFolder(const std::string &folder);

// A process that has a folder's database open.
struct DatabaseUser {
    pid_t pid = 0;  // 0: not visible on this system
    std::string program = {};

    std::string Words() const;
};

std::optional<DatabaseUser> UserOf(const std::string &folder);

// Waits until no process has it open. Throws JobError kServer naming the process that does.
// By default as long as offline readers of the database may take.
void AwaitUnused(const std::string &folder, std::chrono::seconds limit = std::chrono::seconds(10));

}  // namespace zafo::backup
