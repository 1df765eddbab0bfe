// SPDX-License-Identifier: Apache-2.0
//
// Text that controls a terminal or misleads its reader, and where it appears in output.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo::test {

struct HostileText {
    const char *name;
    std::string bytes;
};

// One of each class: what a value may hold between its first and last letter.
const std::vector<HostileText> &HostileTexts();

// All of them joined, with letters between.
std::string AllHostileTexts();

// Those in UTF-8 without control characters: what counts as text.
std::string HostileWords();

// The first bytes that a terminal or a reader would not take for text, with their offset and the
// text before them, as "\xNN at N: TEXT"; empty if there are none. Line feeds and tabs are layout.
std::string HiddenIn(std::string_view output);

}  // namespace zafo::test
