// SPDX-License-Identifier: Apache-2.0
//
// The accounts of this system itself: passwd(5), shadow(5), group(5). Accounts that a network
// service adds through nsswitch.conf(5) are not local, so the C library's look-ups are not used.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/accounts/account_file.h"

namespace zafo {

inline constexpr char kPasswdFile[] = "/etc/passwd";
inline constexpr char kShadowFile[] = "/etc/shadow";
inline constexpr char kGroupFile[] = "/etc/group";
inline constexpr char kGroupShadowFile[] = "/etc/gshadow";

inline constexpr long kSecondsPerDay = 86400;

// Views into the line it was read from.
struct PasswdEntry {
    std::string_view name;
    std::string_view password;  // "x": it stands in the shadow file
    uint32_t uid;
    uint32_t gid;
    std::string_view gecos;
    std::string_view home;
    std::string_view shell;
};

struct ShadowEntry {
    std::string_view password;
    long changed = -1;  // days since 1 January 1970; -1: not said, as with all that follow
    long least = -1;    // days before the password may be changed again
    long expires = -1;  // the day from which on the account is closed
};

struct GroupEntry {
    std::string_view name;
    uint32_t gid;
    Fields members;
};

// The entry of a line; nothing for a damaged line.
std::optional<PasswdEntry> ParsePasswd(std::string_view line);
std::optional<GroupEntry> ParseGroup(std::string_view line);
// A shadow line is read as far as possible.
ShadowEntry ParseShadow(std::string_view line);

// The first entry of a file's text for which `wanted` returns true. Damaged lines are skipped.
template <typename Entry, typename Wanted>
std::optional<Entry> FindEntry(std::string_view text,
                               std::optional<Entry> (*parse)(std::string_view), Wanted wanted) {
    std::optional<Entry> found;
    FindLine(text, [&](std::string_view line) {
        std::optional<Entry> entry = parse(line);
        if (!entry || !wanted(*entry)) return false;
        found = std::move(entry);
        return true;
    });
    return found;
}

template <typename Wanted>
std::optional<PasswdEntry> FindUser(std::string_view text, Wanted wanted) {
    return FindEntry<PasswdEntry>(text, ParsePasswd, wanted);
}

template <typename Wanted>
std::optional<GroupEntry> FindGroup(std::string_view text, Wanted wanted) {
    return FindEntry<GroupEntry>(text, ParseGroup, wanted);
}

inline std::optional<PasswdEntry> FindUserNamed(std::string_view text, std::string_view name) {
    return FindUser(text, [=](const PasswdEntry &user) { return user.name == name; });
}

// Today in days since 1 January 1970.
long Today();

}  // namespace zafo
