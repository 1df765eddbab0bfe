// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/local_accounts.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace zafo::cli {

namespace {

struct LocalRow {
    std::string name;
    std::uint64_t number;
};

// The rows of "/etc/passwd" or "/etc/group". Reads the files themselves, since this system's name
// service may include the directory's accounts.
std::vector<LocalRow> RowsOf(const AccountKind &kind) {
    const bool users = &kind == &kUserKind;
    std::vector<LocalRow> rows;
    const std::unique_ptr<FILE, int (*)(FILE *)> file(
        fopen(users ? "/etc/passwd" : "/etc/group", "re"), fclose);
    if (file == nullptr) return rows;
    if (users) {
        while (const passwd *row = fgetpwent(file.get()))
            rows.push_back({row->pw_name, row->pw_uid});
    } else {
        while (const group *row = fgetgrent(file.get()))
            rows.push_back({row->gr_name, row->gr_gid});
    }
    return rows;
}

bool IsLocal(const AccountKind &kind, const std::string &name) {
    return std::ranges::count(RowsOf(kind), name, &LocalRow::name) > 0;
}

}  // namespace

std::optional<std::string> LocalAccount(const AccountKind &kind, std::uint32_t number) {
    const std::vector<LocalRow> rows = RowsOf(kind);
    const auto found = std::ranges::find(rows, number, &LocalRow::number);
    return found == rows.end() ? std::nullopt : std::optional(found->name);
}

bool IsLocalUser(const std::string &name) {
    return IsLocal(kUserKind, name);
}

bool IsLocalGroup(const std::string &name) {
    return IsLocal(kGroupKind, name);
}

std::map<std::string, std::uint64_t, std::less<>> LocalAccounts(const AccountKind &kind) {
    std::map<std::string, std::uint64_t, std::less<>> accounts;
    for (const LocalRow &row : RowsOf(kind))
        accounts.emplace(row.name, row.number);
    return accounts;
}

}  // namespace zafo::cli
