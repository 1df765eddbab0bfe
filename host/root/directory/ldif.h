// SPDX-License-Identifier: Apache-2.0
//
// LDIF (RFC 2849) for tests: written for the example directory, and read by a
// reader of its own, so that what the library reads can be compared with it.
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

    // Values of one attribute stand together, as a server keeps them.
    LdifEntry &Add(const std::string &attribute, const std::string &value);

    // The values of exactly this attribute, in order.
    std::vector<std::string> All(std::string_view attribute) const;

    bool operator==(const LdifEntry &) const = default;
};

// How a failed test shows an entry.
std::ostream &operator<<(std::ostream &out, const LdifEntry &entry);

// The entry as a record with the blank line that ends it: lines folded at 76
// characters, base64 where plain text would not survive.
std::string LdifRecord(const LdifEntry &entry);

// The entries of whole LDIF content, version line and comments left out; throws
// std::runtime_error for anything else than "name: value" and "name:: base64".
std::vector<LdifEntry> ParseLdif(std::string_view text);

std::string Base64(std::string_view bytes);

}  // namespace zafo::rig
