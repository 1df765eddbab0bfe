// SPDX-License-Identifier: Apache-2.0
#include "base/server_account.h"

#include <grp.h>

#include <cerrno>
#include <vector>

namespace zafo {

std::optional<gid_t> ServerGroup() {
    constexpr size_t kMostMemory = 1 << 20;
    for (std::vector<char> memory(1024); memory.size() <= kMostMemory;
         memory.resize(2 * memory.size())) {
        group record{};
        group *found = nullptr;
        const int error = getgrnam_r(kServerAccount, &record, memory.data(), memory.size(), &found);
        if (error == ERANGE) continue;
        if (error != 0 || found == nullptr) return {};
        return found->gr_gid;
    }
    return {};
}

}  // namespace zafo
