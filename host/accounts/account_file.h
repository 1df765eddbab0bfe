// SPDX-License-Identifier: Apache-2.0
//
// Files of one account a line, its name first, fields between colons: passwd(5), shadow(5),
// group(5), gshadow(5), smbpasswd(5). Lines that nobody changes keep their wording, damaged ones too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

using Fields = std::vector<std::string_view>;

// The parts of a text between separators; one more than it has separators.
Fields Split(std::string_view text, char separator);

// The first of the fields, or the empty text where there are not as many.
std::string_view FieldAt(const Fields &fields, size_t index);

// A number of digits only that fits; a damaged field is none.
std::optional<uint64_t> NumberIn(std::string_view field);

// A lookup in the network's own services (nsswitch.conf(5), "compat"), not an account.
inline bool IsNisLine(std::string_view line) {
    return line.starts_with('+') || line.starts_with('-');
}

// Calls `visit` with every line that may be an account's, until it gives true.
template <typename Visit>
void FindLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const bool account = !line.empty() && line[0] != '#' && line[0] != ':' && !IsNisLine(line);
        if (account && visit(line)) return;
    }
}

// The line of an account; nothing when it has none.
std::optional<std::string_view> LineOf(std::string_view text, std::string_view name);

// Puts a line in the place of the account's, or at the end, before any lookups.
void PutLine(std::string *text, std::string_view name, std::string_view line);

// Removes all lines of the account.
void RemoveLines(std::string *text, std::string_view name);

// Reads a file of the system; 0, or 0x0900 when it is absent or unreadable.
int ReadAccountFile(const char *path, std::string *text);

// Replaces a file of the system in one step; 0, or 0x0B00.
int ReplaceAccountFile(const char *path, std::string_view text);

}  // namespace zafo
