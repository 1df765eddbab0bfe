// SPDX-License-Identifier: Apache-2.0
//
// The backup that the user has been shown and has confirmed, passed to the backup program in place
// of a path: the descriptor from which it was read, and the digest of what was read. A different
// file under the same name is never opened, and changed bytes in the same file are rejected before
// they take effect.
//
// It is text in a sealed memfd, which only a process can create: no file in a folder can pass for
// one.
#pragma once

#include <optional>
#include <string>

#include "base/unique_fd.h"

namespace zafo::backup {

struct ConfirmedBackup {
    std::string name;  // as the user knows it, for messages
    std::string file;  // "/proc/4711/fd/7", of a process that waits for the restore
    std::string seal;  // Contents::seal
    bool without_administrator = false;  // the entry at the administrator's DN is left out

    bool operator==(const ConfirmedBackup &) const = default;
};

// Throws JobError kSystem.
UniqueFd MakeConfirmation(const ConfirmedBackup &confirmed);

// std::nullopt: not a confirmation, so perhaps a backup. Throws JobError kDamaged for a malformed
// one.
std::optional<ConfirmedBackup> ConfirmationIn(int fd);

// The path under which another process can open a descriptor of this process.
std::string PathOfDescriptor(int fd);

}  // namespace zafo::backup
