// SPDX-License-Identifier: Apache-2.0
//
// Opens a lock file in a folder where others may have taken its name.
#pragma once

#include <string>

#include "base/unique_fd.h"
#include "src/frame/own_file.h"

namespace zafo {

class LockFile {
  public:
    explicit LockFile(const char *path);

    // The file, created if missing; not open on failure.
    UniqueFd Open();

    // Whether the descriptor still refers to the file of that name. A lock on a file that has been
    // replaced keeps nobody out.
    bool IsInPlace(const UniqueFd &file) const;

  private:
    bool Counts(const struct stat &status) const;
    bool MayReplace(const struct stat &status) const;
    UniqueFd OpenExisting() const;
    UniqueFd OpenInTurn() const;
    UniqueFd Replace() const;
    void Discard(const std::string &aside) const;

    std::string path_;
    bool is_shared_;
};

}  // namespace zafo
