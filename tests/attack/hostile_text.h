// SPDX-License-Identifier: Apache-2.0
//
// Text that drives a terminal or fools who reads it, and where it shows in output.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo::test {

struct HostileText {
    const char *name;
    std::string bytes;
};

// One of every class: what a value may hold between its first and its last letter.
const std::vector<HostileText> &HostileTexts();

// All of them one after the other, with letters between.
std::string AllHostileTexts();

// Of UTF-8 only, and without control characters: what counts as text.
std::string HostileWords();

// What a terminal, or a reader, would take for something else than text: the first such bytes
// with their place, as "\xNN at N"; empty when there are none. Line feeds and tabs are layout.
std::string HiddenIn(std::string_view output);

}  // namespace zafo::test
