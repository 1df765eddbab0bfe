// SPDX-License-Identifier: Apache-2.0
#include "host/core/mount_words.h"

#include <string_view>

namespace zafo {

void RestrictMount(const char *path, std::vector<std::string> *words) {
    if (std::string_view(path) != "/bin/mount" || words->size() != 2) return;
    if (words->front().starts_with('-') || words->back().starts_with('-')) return;
    words->insert(words->begin(), {"-t", "nfs", "-o", "nosuid,nodev,noexec"});
}

}  // namespace zafo
