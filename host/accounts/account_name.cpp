// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/account_name.h"

#include <algorithm>

namespace zafo {

namespace {

constexpr size_t kLongestName = 32;
constexpr std::string_view kSeparators = ":,/=";
constexpr std::string_view kNotFirst = " -+~#;[!*";

bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7F;
}

bool IsNumber(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

bool IsAccountName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
           !IsNumber(name) && kNotFirst.find(name.front()) == std::string_view::npos &&
           name.back() != ' ' && name.find_first_of(kSeparators) == std::string_view::npos &&
           std::none_of(name.begin(), name.end(), IsControl);
}

bool IsField(std::string_view text) {
    return text.find(':') == std::string_view::npos &&
           std::none_of(text.begin(), text.end(), IsControl);
}

bool IsPathField(std::string_view path) {
    return path.starts_with('/') && IsField(path);
}

}  // namespace zafo
