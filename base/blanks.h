// SPDX-License-Identifier: Apache-2.0
//
// White space in settings files: ASCII, regardless of the caller's locale.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo {

inline constexpr std::string_view kBlanks = " \t\r\v\f";

inline std::string_view Trim(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

inline std::vector<std::string> WordsOf(std::string_view text) {
    std::vector<std::string> words;
    for (text = Trim(text); !text.empty(); text = Trim(text)) {
        words.emplace_back(text.substr(0, text.find_first_of(kBlanks)));
        text.remove_prefix(words.back().size());
    }
    return words;
}

}  // namespace zafo
