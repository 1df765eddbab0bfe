// SPDX-License-Identifier: Apache-2.0
//
// The entries of the example directory: realistic accounts and groups, and one specimen of
// everything that LDIF and distinguished names can represent. The same options always give the same
// entries.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/root/directory/ldif.h"

namespace zafo::rig {

inline constexpr const char *kExampleBase = "dc=example,dc=com";
inline constexpr const char *kExampleSecondBase = "dc=example,dc=org";

// Bases whose entries identify a kind of server: the appliance's own, Apple's, both.
inline constexpr const char *kApplianceBase = "ou=appliance,dc=example,dc=com";
inline constexpr const char *kAppleBase = "ou=apple,dc=example,dc=org";
inline constexpr const char *kBothMarkersBase = "ou=both,dc=example,dc=org";

// The parent of the specimens, and the largest group.
inline constexpr const char *kSpecimenBase = "ou=specimens,dc=example,dc=com";
inline constexpr const char *kLargestGroup = "cn=everyone,cn=groups,dc=example,dc=com";
inline constexpr unsigned kLargestGroupMembers = 2000;

// An ordinary account, subject to the server's size limit. Every account of the example has the
// same password.
inline constexpr const char *kReaderDN = "uid=reader,cn=users,dc=example,dc=com";
inline constexpr const char *kExampleUserPassword = "example";

struct ExampleOptions {
    unsigned users = 1200;
    bool full = false;  // about 32 lines per account instead of about 20
};

// Parents come before their children, the second tree after the first.
void ForEachExampleEntry(const ExampleOptions &options,
                         const std::function<void(const LdifEntry &)> &take);

std::vector<LdifEntry> ExampleEntries(const ExampleOptions &options);

// The login name of account number `index`, counted from 0.
std::string ExampleLogin(unsigned index);

}  // namespace zafo::rig
