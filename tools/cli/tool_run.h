// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zafo::cli {

struct ToolRun {
    int status = 0;  // as waitpid(2) gives it; 0: done
    std::string output = {};
};

// Runs a tool by its path and returns up to a megabyte of its standard output. Nothing if it cannot
// be started.
std::optional<ToolRun> RunTool(const std::vector<std::string> &words);

}  // namespace zafo::cli
