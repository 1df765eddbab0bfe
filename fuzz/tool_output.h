// SPDX-License-Identifier: Apache-2.0
//
// The fuzzer's replacement for the tool that the library starts.
#pragma once

#include <cstddef>
#include <string_view>

namespace zafo::fuzz {

struct ToolOutput {
    std::string_view text;
    size_t step = 0;      // most bytes that one read returns, 0: no limit
    bool fails = false;   // reading ends with an error instead of end of file
    int wait_status = 0;  // of the tool
};

// Sets the output of the next tool.
void Play(const ToolOutput &output);

// The number of streams opened but not closed.
int OpenStreams();

}  // namespace zafo::fuzz
