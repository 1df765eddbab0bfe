// SPDX-License-Identifier: Apache-2.0
//
// What a restore is about to do to the database's folder, for whoever comes after it was cut off. It is
// there from before the server is stopped until the restored database is found good; removing it is the
// moment from which the restore counts.
//
//   zafoldap-restore 1
//   state=exchange          exchange, starting or undo
//   old=1234                inode of the folder with the entries of before
//   new=1260                inode of the folder with the restored entries
//   server=running          whether the server ran before: running or stopped
//   pid=4711                the process that restores
//   started=88123           and when it began, as in /proc/PID/stat
//   end
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/proc_file.h"

namespace zafo::backup {

// A folder whatever its name: renaming keeps the inode. 0: there is none.
using FolderId = std::uint64_t;

enum class JournalState {
    kExchange,  // the server is being stopped, the folders exchanged
    kStarting,  // they are exchanged; the server may be started on the new one
    kUndo,      // the new one is no good: back to the old one
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

// Nothing for a text that is not, byte for byte, what TextOf gives.
std::optional<Journal> JournalFrom(const std::string &text);

struct FoundJournal {
    bool exists = false;
    std::optional<Journal> journal = {};  // nothing: it cannot be read
};

FoundJournal ReadJournal(const std::string &path);

}  // namespace zafo::backup
