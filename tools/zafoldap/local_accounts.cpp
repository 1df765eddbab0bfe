// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/local_accounts.h"

#include <grp.h>
#include <pwd.h>

#include <cstdio>
#include <memory>

namespace zafo::cli {

namespace {

struct CloseFile {
    void operator()(FILE *file) const { fclose(file); }
};

// The first entry of "/etc/passwd" or "/etc/group" that `wanted` accepts. Reads the files
// themselves, since this system's name service may include the directory's accounts.
template <typename Row, typename Wanted>
std::optional<std::string> LocalName(const char *path, Row *(*next)(FILE *), Wanted wanted) {
    const std::unique_ptr<FILE, CloseFile> file(fopen(path, "re"));
    if (file == nullptr) return std::nullopt;
    while (const Row *row = next(file.get())) {
        if (wanted(*row)) {
            if constexpr (std::is_same_v<Row, passwd>) return row->pw_name;
            if constexpr (std::is_same_v<Row, group>) return row->gr_name;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> LocalAccount(const AccountKind &kind, std::uint32_t number) {
    if (&kind == &kUserKind) {
        return LocalName<passwd>("/etc/passwd", fgetpwent,
                                 [&](const passwd &row) { return row.pw_uid == number; });
    }
    return LocalName<group>("/etc/group", fgetgrent,
                            [&](const group &row) { return row.gr_gid == number; });
}

bool IsLocalUser(const std::string &name) {
    return LocalName<passwd>("/etc/passwd", fgetpwent,
                             [&](const passwd &row) { return row.pw_name == name; })
        .has_value();
}

bool IsLocalGroup(const std::string &name) {
    return LocalName<group>("/etc/group", fgetgrent,
                            [&](const group &row) { return row.gr_name == name; })
        .has_value();
}

std::map<std::string, std::uint64_t, std::less<>> LocalAccounts(const AccountKind &kind) {
    std::map<std::string, std::uint64_t, std::less<>> accounts;
    if (&kind == &kUserKind) {
        LocalName<passwd>("/etc/passwd", fgetpwent, [&](const passwd &row) {
            accounts.emplace(row.pw_name, row.pw_uid);
            return false;
        });
    } else {
        LocalName<group>("/etc/group", fgetgrent, [&](const group &row) {
            accounts.emplace(row.gr_name, row.gr_gid);
            return false;
        });
    }
    return accounts;
}

}  // namespace zafo::cli
