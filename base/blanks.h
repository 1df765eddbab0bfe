// SPDX-License-Identifier: Apache-2.0
//
// White space in settings files: ASCII, whatever the caller's locale.
#pragma once

#include <string_view>

namespace zafo {

inline constexpr std::string_view kBlanks = " \t\r\v\f";

inline std::string_view Trim(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace zafo
