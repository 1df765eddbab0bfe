// SPDX-License-Identifier: Apache-2.0
//
// Records what a restore is about to do to the database folder, for recovery after an interruption.
// It exists from before the server is stopped until the restored database has been verified;
// removing it commits the restore.
//
//   zafoldap-restore 1
//   state=exchange          exchange, starting or undo
//   old=1234                inode of the folder with the old entries
//   new=1260                inode of the folder with the restored entries
//   server=running          whether the server ran before: running or stopped
//   pid=4711                the restoring process
//   started=88123           and its start time, as in /proc/PID/stat
//   end
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/proc_file.h"

namespace zafo::backup {

// Identifies a folder by its inode, which renaming keeps. 0: no folder.
using FolderId = std::uint64_t;

enum class JournalState {
    kExchange,  // the server is being stopped and the folders swapped
    kStarting,  // swapped; the server may be started on the new one
    kUndo,      // the new one is unusable: back to the old one
};

struct Journal {
    JournalState state = JournalState::kExchange;
    FolderId old_folder = 0;
    FolderId new_folder = 0;
    bool server_ran = false;
    ProcessId writer = {};

    bool operator==(const Journal &) const = default;
};

std::string TextOf(const Journal &journal);

// std::nullopt unless the text is exactly what TextOf returns.
std::optional<Journal> JournalFrom(const std::string &text);

struct FoundJournal {
    bool exists = false;
    std::optional<Journal> journal = {};  // std::nullopt: unreadable
};

FoundJournal ReadJournal(const std::string &path);

}  // namespace zafo::backup
