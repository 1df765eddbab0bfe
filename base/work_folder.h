// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// A private folder "/tmp/NAME.XXXXXX", mode 0700; the destructor removes it with all its contents.
class WorkFolder {
  public:
    explicit WorkFolder(const char *name);
    ~WorkFolder();
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    // 0, or the errno from creating it.
    int Error() const { return error_; }

    const std::string &Path() const { return path_; }
    std::string Path(std::string_view file) const { return path_ + "/" + std::string(file); }

  private:
    std::string path_;
    int error_;
};

}  // namespace zafo
