// SPDX-License-Identifier: Apache-2.0
//
// The backup that a person was shown and has confirmed, handed to the backup program in place of a path: by the
// descriptor with which it was read, and the digest of what was read. Another file under the same name is not
// opened, and the same file with other bytes is refused before they count.
//
// It is text in a sealed file in memory, which only a process can make: no file of a folder is taken for one.
#pragma once

#include <optional>
#include <string>

#include "base/unique_fd.h"

namespace zafo::backup {

struct ConfirmedBackup {
    std::string name;  // as the person knows it, for words
    std::string file;  // "/proc/4711/fd/7", of a process that waits for the restore
    std::string seal;  // Contents::seal
    bool without_administrator = false;  // the entry at the administrator's DN is left out

    bool operator==(const ConfirmedBackup &) const = default;
};

// Throws JobError kSystem.
UniqueFd MakeConfirmation(const ConfirmedBackup &confirmed);

// Nothing: it is none, and so perhaps a backup. Throws JobError kDamaged for one that says nothing.
std::optional<ConfirmedBackup> ConfirmationIn(int fd);

// The name under which another process can open a descriptor of this one.
std::string PathOfDescriptor(int fd);

}  // namespace zafo::backup
