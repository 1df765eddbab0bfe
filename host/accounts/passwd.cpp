// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/passwd.h"

#include <climits>
#include <ctime>

namespace zafo {

namespace {

constexpr size_t kPasswdFields = 7;
constexpr size_t kGroupFields = 4;

// (uid_t)-1 means "none" wherever numbers are passed.
std::optional<uint32_t> AccountNumberIn(std::string_view field) {
    const auto number = NumberIn(field);
    if (!number || *number >= UINT32_MAX) return {};
    return static_cast<uint32_t>(*number);
}

long DaysIn(std::string_view field) {
    const auto days = NumberIn(field);
    return days && *days <= LONG_MAX ? static_cast<long>(*days) : -1;
}

}  // namespace

std::optional<PasswdEntry> ParsePasswd(std::string_view line) {
    const Fields fields = Split(line, ':');
    if (fields.size() != kPasswdFields) return {};
    const auto uid = AccountNumberIn(fields[2]);
    const auto gid = AccountNumberIn(fields[3]);
    if (!uid || !gid) return {};
    return PasswdEntry{fields[0], fields[1], *uid, *gid, fields[4], fields[5], fields[6]};
}

ShadowEntry ParseShadow(std::string_view line) {
    const Fields fields = Split(line, ':');
    return {.password = FieldAt(fields, 1),
            .changed = DaysIn(FieldAt(fields, 2)),
            .least = DaysIn(FieldAt(fields, 3)),
            .expires = DaysIn(FieldAt(fields, 7))};
}

std::optional<GroupEntry> ParseGroup(std::string_view line) {
    const Fields fields = Split(line, ':');
    if (fields.size() != kGroupFields) return {};
    const auto gid = AccountNumberIn(fields[2]);
    if (!gid) return {};
    GroupEntry group{fields[0], *gid, Split(fields[3], ',')};
    std::erase_if(group.members, [](std::string_view member) { return member.empty(); });
    return group;
}

long Today() {
    return static_cast<long>(std::time(nullptr) / kSecondsPerDay);
}

}  // namespace zafo
