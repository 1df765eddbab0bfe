// SPDX-License-Identifier: Apache-2.0
//
// Opening a lock file in a folder where others may have put something in its place.
#pragma once

#include <string>

#include "base/unique_fd.h"
#include "src/frame/own_file.h"

namespace zafo {

class LockFile {
  public:
    explicit LockFile(const char *path);

    // The file, made where it is missing; not open when it cannot be had.
    UniqueFd Open();

    // Whether the descriptor is still the file of that name: a lock on one that somebody has
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
