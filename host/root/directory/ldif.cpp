// SPDX-License-Identifier: Apache-2.0
#include "host/root/directory/ldif.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <stdexcept>

namespace zafo::rig {

namespace {

constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// RFC 2849's SAFE-STRING, but without a trailing blank, which would be invisible.
bool IsSafeLdif(std::string_view value) {
    if (value.empty()) return true;
    if (value.front() == ' ' || value.front() == ':' || value.front() == '<' ||
        value.back() == ' ') {
        return false;
    }
    return std::all_of(value.begin(), value.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= 0x20 && byte < 0x7F;
    });
}

void AppendFolded(std::string &record, const std::string &line) {
    constexpr size_t kWidth = 76;
    record.append(line, 0, kWidth);
    for (size_t at = kWidth; at < line.size(); at += kWidth - 1) {
        record.append("\n ").append(line, at, kWidth - 1);
    }
    record += '\n';
}

void AppendLine(std::string &record, const std::string &name, const std::string &value) {
    AppendFolded(record, IsSafeLdif(value) ? name + ": " + value : name + ":: " + Base64(value));
}

[[noreturn]] void Refuse(std::string_view line) {
    throw std::runtime_error("not LDIF: " + std::string(line.substr(0, 80)));
}

std::string FromBase64(std::string_view text) {
    std::string bytes;
    std::uint32_t group = 0;
    unsigned bits = 0;
    for (const char digit : text.substr(0, text.find('='))) {
        const size_t value = kBase64Digits.find(digit);
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

LdifEntry &LdifEntry::Add(const std::string &attribute, const std::string &value) {
    const auto same = std::find_if(values.rbegin(), values.rend(),
                                   [&](const auto &pair) { return pair.first == attribute; });
    values.emplace(same == values.rend() ? values.end() : same.base(), attribute, value);
    return *this;
}

std::vector<std::string> LdifEntry::All(std::string_view attribute) const {
    std::vector<std::string> all;
    for (const auto &[name, value] : values) {
        if (name == attribute) all.push_back(value);
    }
    return all;
}

std::string LdifRecord(const LdifEntry &entry) {
    std::string record;
    AppendLine(record, "dn", entry.dn);
    for (const auto &[name, value] : entry.values)
        AppendLine(record, name, value);
    return record + "\n";
}

std::ostream &operator<<(std::ostream &out, const LdifEntry &entry) {
    return out << entry.dn << " (" << entry.values.size() << " values)";
}

std::string Base64(std::string_view bytes) {
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t n = std::min<size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < n ? static_cast<unsigned char>(bytes[at + k]) : 0U);
        }
        for (size_t k = 0; k < 4; ++k)
            text += k <= n ? kBase64Digits[group >> (18 - 6 * k) & 63U] : '=';
    }
    return text;
}

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
