// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "tests/rig/fake_tool.h"

namespace zafo::core_test {

// Makes a tool unavailable for the object's lifetime, or from a given call of a fake tool on.
class WithoutTool {
  public:
    explicit WithoutTool(const std::string &tool) : path_("/usr/zafo/bin/" + tool) {
        std::filesystem::rename(path_, path_ + ".away");
    }
    WithoutTool(const std::string &tool, rig::FakeScript &last) : path_("/usr/zafo/bin/" + tool) {
        last.MoveAway(path_);
    }
    ~WithoutTool() {
        std::error_code never_left;
        std::filesystem::rename(path_ + ".away", path_, never_left);
    }
    WithoutTool(const WithoutTool &) = delete;
    WithoutTool &operator=(const WithoutTool &) = delete;

    const std::string &Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace zafo::core_test
