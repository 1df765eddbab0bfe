// SPDX-License-Identifier: Apache-2.0
//
// The tool that the library starts, played by the fuzzer.
#pragma once

#include <cstddef>
#include <string_view>

namespace zafo::fuzz {

struct ToolOutput {
    std::string_view text;
    size_t step = 0;      // most bytes that one read gives, 0: all at once
    bool fails = false;   // the reading ends with an error instead of the end
    int wait_status = 0;  // what the tool ends with
};

// What the next tool says.
void Play(const ToolOutput &output);

// Streams that were opened and not closed.
int OpenStreams();

}  // namespace zafo::fuzz
