// SPDX-License-Identifier: Apache-2.0
#include "host/core/copy_owner.h"

#include <sys/stat.h>
#include <unistd.h>

#include <iterator>

namespace zafo {

std::vector<std::string> WithSafeRights(std::vector<std::string> words) {
    struct stat folder {};
    const bool copies = words.size() > 2 && (words[0] == "/bin/cp" || words[0] == "/usr/bin/cp");
    if (!copies || geteuid() != 0 || stat(words.back().c_str(), &folder) != 0 ||
        !S_ISDIR(folder.st_mode) || folder.st_uid == 0) {
        return words;
    }
    std::vector<std::string> safe{"/usr/bin/setpriv",
                                  "--reuid",
                                  std::to_string(folder.st_uid),
                                  "--regid",
                                  std::to_string(folder.st_gid),
                                  "--clear-groups",
                                  "--"};
    safe.insert(safe.end(), std::move_iterator(words.begin()), std::move_iterator(words.end()));
    return safe;
}

}  // namespace zafo
