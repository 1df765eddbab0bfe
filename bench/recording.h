// SPDX-License-Identifier: Apache-2.0
//
// The tools that the library runs for a piece of work, to be run again by a bare loop.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zafo::bench {

struct ToolRun {
    std::vector<std::string> words;
    std::string change;  // content of its change file
};

// The runs of these tools of "/usr/zafo/bin", or of programs named by their paths, in the order of
// their starts while `work` is done.
std::vector<ToolRun> Record(const std::vector<std::string> &tools,
                            const std::function<void()> &work);

// Writes the change file anew, which the library has removed.
void WriteChange(const ToolRun &run);

// The tool's wait status.
int RunAgain(const ToolRun &run);

}  // namespace zafo::bench
