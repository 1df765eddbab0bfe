// SPDX-License-Identifier: Apache-2.0
//
// LDIF (RFC 2849) as written for the example directory.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zafo::rig {

struct LdifEntry {
    std::string dn;
    std::vector<std::pair<std::string, std::string>> values;

    explicit LdifEntry(std::string name) : dn(std::move(name)) {}

    // Keeps the values of one attribute together, as a server does.
    LdifEntry &Add(const std::string &attribute, const std::string &value);

    // The values of exactly this attribute, in order.
    std::vector<std::string> All(std::string_view attribute) const;

    bool operator==(const LdifEntry &) const = default;
};

// Prints an entry for a failed test.
std::ostream &operator<<(std::ostream &out, const LdifEntry &entry);

// The entry as a record including its final blank line: lines folded at 76 characters, base64 where
// plain text would not survive.
std::string LdifRecord(const LdifEntry &entry);

std::string Base64(std::string_view bytes);

}  // namespace zafo::rig
