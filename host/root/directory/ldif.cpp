// SPDX-License-Identifier: Apache-2.0
#include "host/root/directory/ldif.h"

#include <algorithm>
#include <cstdint>
#include <ostream>

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

}  // namespace zafo::rig
