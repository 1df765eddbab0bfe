// SPDX-License-Identifier: Apache-2.0
#include "base/work_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace zafo {

WorkFolder::WorkFolder(const char *name)
    : path_(std::string("/tmp/") + name + ".XXXXXX"),
      error_(mkdtemp(path_.data()) != nullptr ? 0 : errno) {}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    if (error_ == 0) std::filesystem::remove_all(path_, ignored);
}

}  // namespace zafo
