// SPDX-License-Identifier: Apache-2.0
//
// What bench/run sets up in its private appliance root.
#pragma once

namespace zafo::bench {

// A server and its number of users.
struct Place {
    const char *address;
    const char *password_file;
    int users;
};
inline constexpr Place kLarge{"localhost:4389", "/var/lib/example-directory/password", 100'000};
inline constexpr Place kMedium{"localhost:1389", "/var/lib/medium-directory/password", 10'000};
inline constexpr Place kSmall{"localhost:2389", "/var/lib/small-directory/password", 1000};
// For creating users: a server with Samba's schema and a Samba domain.
inline constexpr Place kSamba{"localhost:3389", "/var/lib/samba-directory/password", 0};

inline constexpr const char *kBaseDN = "dc=example,dc=com";
inline constexpr const char *kBindDN = "cn=admin,dc=example,dc=com";
// Lists a tenth of the users, on the large and on the medium server.
inline constexpr const char *kGroup = "cn=tenth,cn=groups,dc=example,dc=com";
inline constexpr const char *kTool = "/usr/zafo/bin/ldapsearch";
inline constexpr const char *kPrograms = "/mnt/build/bench/";
inline constexpr const char *kAnswer = "/tmp/answer.ldif";  // the tool's output for all users

inline constexpr const char *kLists = "/tmp/lists/";        // programs of bench/lists
inline constexpr const char *kCreators = "/tmp/creators/";  // programs of bench/creators

inline constexpr const char *kRecorder = "/mnt/src/bench/record";
inline constexpr const char *kRecorded = "/tmp/recorded";  // a folder for each run of a tool

inline constexpr const char *kWholeSearches = "/tmp/whole-searches";  // a byte for each search

// The content of the own server, and its least number of entries.
inline constexpr const char *kOwnEntries = "/tmp/own.ldif";
inline constexpr int kOwnEntryCount = 100'000;

inline constexpr const char *kUsersBase = "cn=users,dc=example,dc=com";
inline constexpr const char *kUsersFilter = "(objectClass=posixAccount)";

}  // namespace zafo::bench
