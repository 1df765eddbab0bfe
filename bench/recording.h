// SPDX-License-Identifier: Apache-2.0
//
// Records the tools that the library runs for a piece of work, so that a bare loop can run them
// again.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zafo::bench {

struct ToolRun {
    std::vector<std::string> words;
    std::string change;  // content of its change file
};

// The runs of these tools of "/usr/zafo/bin", or of programs given by path, in the order in which
// they start during `work`.
std::vector<ToolRun> Record(const std::vector<std::string> &tools,
                            const std::function<void()> &work);

// Writes the change file again, since the library has removed it.
void WriteChange(const ToolRun &run);

// Returns the tool's wait status.
int RunAgain(const ToolRun &run);

}  // namespace zafo::bench
