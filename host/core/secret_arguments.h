// SPDX-License-Identifier: Apache-2.0
//
// A child's argument vector without its secrets. Everyone on the machine can read a process's
// arguments from the moment it starts, so passwords are taken out before that.
#pragma once

#include <memory>
#include <vector>

#include "base/unique_fd.h"
#include "host/front/tool.h"

namespace zafo {

class SecretArguments {
  public:
    // For a tool in "/usr/zafo/bin" that takes secrets, `-w SECRET` becomes `-y /dev/fd/N`: each
    // secret is put into a file in memory, the child's descriptor N, which is
    // `first` for the first one, `first` + 1 for the next and so on. Any other vector stays as it
    // is. Neither the vector nor its texts are written to, and no other copy of a secret is made.
    // Returns 0, or the errno if a file could not be created: the program must then not be run.
    int Take(const char *path, char *const argv[], int first);

    char *const *Vector() const { return rewritten_.empty() ? given_ : rewritten_.data(); }

    // The files, in the order of the child's descriptors; their own numbers are above all of those.
    const std::vector<UniqueFd> &Files() const { return files_; }
    void CloseFiles() { files_.clear(); }

  private:
    void Rewrite(const front::Tool &tool, int first);
    void AddText(std::string_view text);
    int MakeFiles(int first);

    char *const *given_ = nullptr;
    std::vector<char *> rewritten_;
    std::vector<std::unique_ptr<char[]>> texts_;  // texts that the caller's vector does not have
    std::vector<const char *> secrets_;           // point into the caller's vector
    std::vector<UniqueFd> files_;
};

}  // namespace zafo
