// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/account_lock.h"

#include <fcntl.h>

#include <chrono>
#include <thread>

namespace zafo {

namespace {

constexpr const char *kLockFile = "/etc/.pwd.lock";
constexpr std::chrono::seconds kPatience{15};
constexpr std::chrono::milliseconds kPause{5};

}  // namespace

AccountLock::AccountLock() {
    UniqueFd file(open(kLockFile, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    const auto end = std::chrono::steady_clock::now() + kPatience;
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    while (file.IsOpen() && std::chrono::steady_clock::now() < end) {
        if (fcntl(file.Get(), F_OFD_SETLK, &whole) == 0) {
            file_ = std::move(file);
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace zafo
