// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <utility>

namespace zafo::bench {

// While it exists, another program replaces a tool; the tool itself is moved to its path with
// ".aside" appended.
class StandIn {
  public:
    StandIn(std::string tool, const std::string &program)
        : tool_(std::move(tool)), aside_(tool_ + ".aside") {
        std::filesystem::rename(tool_, aside_);
        std::filesystem::create_symlink(program, tool_);
    }
    StandIn(const StandIn &) = delete;
    StandIn &operator=(const StandIn &) = delete;
    ~StandIn() {
        std::error_code ignored;
        std::filesystem::rename(aside_, tool_, ignored);
    }

  private:
    const std::string tool_, aside_;
};

}  // namespace zafo::bench
