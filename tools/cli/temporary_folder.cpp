// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/temporary_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "base/unique_fd.h"

namespace zafo::cli {

namespace {

// What hardly any change needs more of.
constexpr size_t kRoom = 64 << 10;

// The file has no name: nobody else sees it, and it goes with the descriptor.
int TryToWrite() {
    const zafo::UniqueFd file(open(kTemporaryFolder, O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    if (!file.IsOpen()) return errno;
    static constexpr std::array<char, kRoom> kZeros{};
    const ssize_t written = write(file.Get(), kZeros.data(), kZeros.size());
    if (written == ssize_t{kRoom}) return 0;
    return written < 0 ? errno : ENOSPC;
}

}  // namespace

std::string FaultOfTemporaryFolder() {
    int reason = TryToWrite();
    // A file system that has no files without names.
    if (reason == EOPNOTSUPP || reason == EISDIR)
        reason = access(kTemporaryFolder, W_OK | X_OK) == 0 ? 0 : errno;
    // That has nothing to do with the folder.
    if (reason == EMFILE || reason == ENFILE || reason == ENOMEM || reason == EINTR) reason = 0;
    return reason == 0 ? std::string() : std::strerror(reason);
}

}  // namespace zafo::cli
