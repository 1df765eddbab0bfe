// SPDX-License-Identifier: Apache-2.0
//
// Files with one account per line, its name first, fields separated by colons: passwd(5),
// shadow(5), group(5), gshadow(5), smbpasswd(5). Unchanged lines are kept verbatim, damaged ones
// too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/lines.h"

namespace zafo {

using Fields = std::vector<std::string_view>;

// The parts of a text between separators, one more than it has separators; and the reverse.
Fields Split(std::string_view text, char separator);
std::string Joined(const Fields &fields, char separator);

// NULL is the empty text.
inline std::string_view TextOf(const char *text) {
    return text == nullptr ? std::string_view() : text;
}

// Field `index`, or the empty text if there are fewer.
std::string_view FieldAt(const Fields &fields, size_t index);

// A number of digits only that fits; nothing for a damaged field.
std::optional<uint64_t> NumberIn(std::string_view field);

// A lookup in the network's own services (nsswitch.conf(5), "compat"), not an account.
inline bool IsNisLine(std::string_view line) {
    return line.starts_with('+') || line.starts_with('-');
}

// Calls `visit` with every line that may be an account's, until it returns true.
template <typename Visit>
void FindLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const std::string_view line = TakeLine(&text);
        const bool account = !line.empty() && line[0] != '#' && line[0] != ':' && !IsNisLine(line);
        if (account && visit(line)) return;
    }
}

// The line of an account; nothing when it has none.
std::optional<std::string_view> LineOf(std::string_view text, std::string_view name);

// Replaces the account's line, or adds one at the end, before any lookups.
void PutLine(std::string *text, std::string_view name, std::string_view line);

// Removes all lines of the account.
void RemoveLines(std::string *text, std::string_view name);

// Reads a file of the system; 0, or 0x0900 when it is absent or unreadable.
int ReadAccountFile(const char *path, std::string *text);

// Replaces a file of the system in one step; 0, or 0x0B00.
int ReplaceAccountFile(const char *path, std::string_view text);

}  // namespace zafo
