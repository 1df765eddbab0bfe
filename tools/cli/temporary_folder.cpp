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

// More than almost any change needs.
constexpr size_t kRoom = 64 << 10;

// The file has no name: no one else sees it, and it disappears with the descriptor.
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
    // The file system does not support unnamed files.
    if (reason == EOPNOTSUPP || reason == EISDIR)
        reason = access(kTemporaryFolder, W_OK | X_OK) == 0 ? 0 : errno;
    // Unrelated to the folder.
    if (reason == EMFILE || reason == ENFILE || reason == ENOMEM || reason == EINTR) reason = 0;
    return reason == 0 ? std::string() : std::strerror(reason);
}

}  // namespace zafo::cli
