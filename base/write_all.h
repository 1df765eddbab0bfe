// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace zafo {

// Writes all bytes to a descriptor; false, with errno set, on failure. `interrupted`, which may
// throw, is called when a signal interrupts write(2), before the write is retried.
inline bool WriteAll(int fd, std::string_view bytes, void (*interrupted)() = nullptr) {
    while (!bytes.empty()) {
        const ssize_t n = write(fd, bytes.data(), bytes.size());
        if (n > 0) {
            bytes.remove_prefix(static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            if (n == 0) errno = EIO;
            return false;
        } else if (interrupted != nullptr) {
            interrupted();
        }
    }
    return true;
}

}  // namespace zafo
