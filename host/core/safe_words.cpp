// SPDX-License-Identifier: Apache-2.0
#include "host/core/safe_words.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zafo {

namespace {

bool IsBareMount(const std::vector<std::string> &words) {
    return words.size() == 3 && words[0] == "/bin/mount" && !words[1].starts_with('-') &&
           !words[2].starts_with('-');
}

// Whether root copies into a folder that another user owns; `folder` then describes it.
bool IsCopyToOther(const std::vector<std::string> &words, struct stat *folder) {
    return words.size() > 2 && (words[0] == "/bin/cp" || words[0] == "/usr/bin/cp") &&
           geteuid() == 0 && stat(words.back().c_str(), folder) == 0 && S_ISDIR(folder->st_mode) &&
           folder->st_uid != 0;
}

}  // namespace

std::vector<std::string> SafeWords(std::vector<std::string> words) {
    struct stat folder {};
    if (IsBareMount(words)) {
        words.insert(words.begin() + 1, {"-t", "nfs", "-o", "nosuid,nodev,noexec"});
    } else if (IsCopyToOther(words, &folder)) {
        words.insert(words.begin(),
                     {"/usr/bin/setpriv", "--reuid", std::to_string(folder.st_uid), "--regid",
                      std::to_string(folder.st_gid), "--clear-groups", "--"});
    }
    return words;
}

}  // namespace zafo
