// SPDX-License-Identifier: Apache-2.0
//
// The argument vector of a child without secrets. Everybody on the machine can read the vector of a
// process from its first moment on, so a password leaves it before there is a process.
#pragma once

#include <sys/types.h>

#include <memory>
#include <vector>

#include "base/unique_fd.h"
#include "host/front/tool.h"

namespace zafo {

// The name by which the kernel knows the files.
inline constexpr const char *kSecretFileName = "zafo-argument";

class SecretArguments {
  public:
    // For a tool of "/usr/zafo/bin" that takes secrets, `-w SECRET` becomes `-y /dev/fd/N`: each
    // secret a file in memory (0600, sealed) that the child has as descriptor N, the first as
    // `first`, the next as `first` + 1. Any other vector stays as it is. Neither the vector nor its
    // texts are written to, and no other copy of a secret is made.
    // 0, or the errno with which a file could not be made: the program must not be run then.
    int Take(const char *path, char *const argv[], int first);

    char *const *Vector() const { return rewritten_.empty() ? given_ : rewritten_.data(); }

    // The files, in the order of the child's descriptors; the numbers that the child gives them are
    // below all of theirs.
    const std::vector<UniqueFd> &Files() const { return files_; }
    void CloseFiles() { files_.clear(); }

  private:
    void Rewrite(const front::Tool &tool, int first);
    void AddText(std::string_view text);
    int MakeFiles(int first);

    char *const *given_ = nullptr;
    std::vector<char *> rewritten_;
    std::vector<std::unique_ptr<char[]>> texts_;  // what the caller's vector does not have
    std::vector<const char *> secrets_;           // in the caller's vector
    std::vector<UniqueFd> files_;
};

}  // namespace zafo
