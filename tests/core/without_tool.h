// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace zafo::core_test {

// A tool is not installed for as long as the object lives.
class WithoutTool {
  public:
    explicit WithoutTool(const std::string &tool) : path_("/usr/zafo/bin/" + tool) {
        std::filesystem::rename(path_, path_ + ".away");
    }
    ~WithoutTool() { std::filesystem::rename(path_ + ".away", path_); }
    WithoutTool(const WithoutTool &) = delete;
    WithoutTool &operator=(const WithoutTool &) = delete;

    const std::string &Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace zafo::core_test
