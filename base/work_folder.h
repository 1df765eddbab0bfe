// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// A private folder "/tmp/NAME.XXXXXX", mode 0700, removed with all its contents by the destructor.
class WorkFolder {
  public:
    explicit WorkFolder(const char *name);
    ~WorkFolder();
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    // 0, or the errno with which it could not be made.
    int Error() const { return error_; }

    const std::string &Path() const { return path_; }
    std::string Path(std::string_view file) const { return path_ + "/" + std::string(file); }

  private:
    std::string path_;
    int error_;
};

}  // namespace zafo
