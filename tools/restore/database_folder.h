// SPDX-License-Identifier: Apache-2.0
//
// The folder of a database, and who works in it.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/restore/journal.h"

namespace zafo::backup {

inline constexpr const char *kDataFile = "data.mdb";
inline constexpr const char *kLockFile = "lock.mdb";
// Exists where the database holds an entry.
inline constexpr const char *kMarkerFile = "dn2id.bdb";

// 0 for a name that is free. Throws JobError for what is no folder, a link to one included.
FolderId IdOf(const std::string &folder);

// Makes a folder like the server makes its own: mode 0700, the server's user's where it can be given
// away. Throws JobError.
void MakeDatabaseFolder(const std::string &folder);

// Gives a file or folder to the server's user where that is possible. Throws JobError.
void GiveToServer(const std::string &path);

// One gets the other's name, in one step and on the disk. Throws JobError.
void SwapFolders(const std::string &one, const std::string &other);

// With all there is in it; need not exist. Throws JobError.
void RemoveFolder(const std::string &folder);

// A process that has the database of a folder open.
struct DatabaseUser {
    pid_t pid = 0;  // 0: not of this system's processes
    std::string program = {};

    std::string Words() const;
};

std::optional<DatabaseUser> UserOf(const std::string &folder);

// Waits until nobody has it open. Throws JobError kServer that names who has.
void AwaitUnused(const std::string &folder, std::chrono::seconds limit);

}  // namespace zafo::backup
