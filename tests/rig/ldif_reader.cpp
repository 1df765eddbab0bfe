// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/ldif_reader.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace zafo::rig {

namespace {

[[noreturn]] void Refuse(std::string_view line) {
    throw std::runtime_error("not LDIF: " + std::string(line.substr(0, 80)));
}

std::string FromBase64(std::string_view text) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t group = 0;
    unsigned bits = 0;
    for (const char digit : text.substr(0, text.find('='))) {
        const size_t value = kDigits.find(digit);
        if (value == std::string_view::npos) Refuse(text);
        group = group << 6 | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<char>(group >> bits & 0xFFU));
    }
    return bytes;
}

std::string Unfolded(std::string_view text) {
    std::string whole;
    whole.reserve(text.size());
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\n' && at + 1 < text.size() && text[at + 1] == ' ') {
            ++at;
        } else {
            whole.push_back(text[at]);
        }
    }
    return whole;
}

std::pair<std::string, std::string> ParseLine(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) Refuse(line);
    std::string_view rest = line.substr(colon + 1);
    const bool encoded = rest.starts_with(':');
    if (encoded) rest.remove_prefix(1);
    if (rest.starts_with('<')) Refuse(line);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return {std::string(line.substr(0, colon)), encoded ? FromBase64(rest) : std::string(rest)};
}

}  // namespace

std::vector<LdifEntry> ParseLdif(std::string_view text) {
    const std::string whole = Unfolded(text);
    std::vector<LdifEntry> entries;
    bool inside = false;
    for (size_t at = 0; at < whole.size();) {
        const size_t end = std::min(whole.find('\n', at), whole.size());
        const std::string_view line(whole.data() + at, end - at);
        at = end + 1;
        if (line.empty()) inside = false;
        if (line.empty() || line.front() == '#' || (!inside && line.starts_with("version:"))) {
            continue;
        }
        auto [name, value] = ParseLine(line);
        if (inside) {
            entries.back().values.emplace_back(std::move(name), std::move(value));
        } else if (name == "dn") {
            entries.emplace_back(std::move(value));
            inside = true;
        } else {
            Refuse(line);
        }
    }
    return entries;
}

}  // namespace zafo::rig
