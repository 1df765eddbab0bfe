// SPDX-License-Identifier: Apache-2.0
//
// Replaces the platform's local account database with one in memory, which holds a test's accounts,
// records what is stored, and fails on request.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zafo::accounts_test {

struct LocalUser {
    std::string name;
    std::string password;
    uint32_t uid = 0;
    uint32_t gid = 0;
    std::string full_name, home, shell;
    long expire = 0;
    bool operator==(const LocalUser &) const = default;
};

struct LocalGroup {
    std::string name;
    uint32_t gid = 0;
    std::vector<std::string> members;
    std::optional<std::string> description = "";  // nullopt: cannot be read
    bool operator==(const LocalGroup &) const = default;
};

struct Hashes {
    std::string lm, nt;
};

struct ImportedPassword {
    std::string name, crypt, lm, nt;
    bool operator==(const ImportedPassword &) const = default;
};

struct LocalDatabase {
    std::vector<LocalUser> users;
    std::vector<LocalGroup> groups;
    std::map<std::string, Hashes> samba;
    int room = 1000;  // accounts that can still be created
    std::string
        undescribed;  // a group without a description, for which the buffer is left untouched

    // Functions that fail, and with which platform error.
    std::map<std::string, int> failures;

    // Recorded calls.
    std::vector<std::string> asked;  // "FUNCTION ARGUMENT"
    std::vector<LocalUser> stored_users;
    std::vector<LocalGroup> stored_groups;
    std::vector<ImportedPassword> imported;

    static LocalDatabase &Get();
};

}  // namespace zafo::accounts_test
