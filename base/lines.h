// SPDX-License-Identifier: Apache-2.0
//
// Taking a text apart from its beginning. Each function removes from `*text` what it returns.
#pragma once

#include <string_view>

namespace zafo {

// The text before the first separator, which is removed, too; all of it if there is no separator.
constexpr std::string_view TakeField(std::string_view *text, char separator) {
    const std::string_view field = text->substr(0, text->find(separator));
    text->remove_prefix(field.size() < text->size() ? field.size() + 1 : field.size());
    return field;
}

constexpr std::string_view TakeLine(std::string_view *text) {
    return TakeField(text, '\n');
}

// A line including its line break, which the last one may lack.
constexpr std::string_view TakeWholeLine(std::string_view *text) {
    const std::string_view line = text->substr(0, text->find('\n'));
    const std::string_view whole = text->substr(0, line.size() + 1);
    text->remove_prefix(whole.size());
    return whole;
}

}  // namespace zafo
