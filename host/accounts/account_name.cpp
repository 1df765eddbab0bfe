// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/account_name.h"

#include <algorithm>

namespace zafo {

namespace {

constexpr size_t kLongestName = 32;
constexpr std::string_view kSeparators = ":,/=";
constexpr std::string_view kNotFirst = " -+~#;[!*";

bool HasUnfit(std::string_view text) {
    while (!text.empty()) {
        const TextPiece piece = PieceOf(text);
        if (piece.unfit) return true;
        text.remove_prefix(piece.length);
    }
    return false;
}

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// The length of a character that begins with this byte; 1 if none does.
size_t LengthFrom(unsigned char first) {
    return first >= 0xF0 && first < 0xF8 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 1;
}

bool IsUnfit(char32_t c) {
    return c < U' ' || (c >= 0x7F && c < 0xA0) || c == 0x061C || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool IsNumber(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

TextPiece PieceOf(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const size_t length = LengthFrom(first);
    if (length == 1 || first >= 0xF8 || length > text.size() ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<long>(length), IsContinuation))
        return {1, IsUnfit(first)};
    char32_t c = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i)
        c = (c << 6U) | (static_cast<unsigned char>(text[i]) & 0x3FU);
    return {length, IsUnfit(c)};
}

bool IsAccountName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
           !IsNumber(name) && kNotFirst.find(name.front()) == std::string_view::npos &&
           name.back() != ' ' && name.find_first_of(kSeparators) == std::string_view::npos &&
           !HasUnfit(name);
}

bool IsField(std::string_view text) {
    return text.find(':') == std::string_view::npos && !HasUnfit(text);
}

bool IsPathField(std::string_view path) {
    return path.starts_with('/') && IsField(path);
}

}  // namespace zafo
