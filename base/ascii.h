// SPDX-License-Identifier: Apache-2.0
//
// Letters and digits as compared in directories, URLs and settings files: ASCII, regardless of the
// caller's locale.
#pragma once

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace zafo {

constexpr char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool IsAlphanumeric(char c) {
    return (c >= '0' && c <= '9') || (LowerCase(c) >= 'a' && LowerCase(c) <= 'z');
}

// The value of a hexadecimal digit; -1 if it is not one.
constexpr int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    return LowerCase(c) >= 'a' && LowerCase(c) <= 'f' ? LowerCase(c) - 'a' + 10 : -1;
}

// The decimal number that is the whole text; nothing if it is not one, or too large for the type.
template <typename Number>
std::optional<Number> WholeNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

// Appends a byte as two hexadecimal digits.
inline void AppendHex(std::string *text, char c) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    text->push_back(kDigits[byte >> 4]);
    text->push_back(kDigits[byte & 15]);
}

inline std::string Folded(std::string_view text) {
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), LowerCase);
    return folded;
}

constexpr bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char c, char d) { return LowerCase(c) == LowerCase(d); });
}

constexpr bool StartsWithIgnoringCase(std::string_view text, std::string_view beginning) {
    return EqualIgnoringCase(text.substr(0, beginning.size()), beginning);
}

}  // namespace zafo
