// SPDX-License-Identifier: Apache-2.0
//
// Server addresses: as people type them and as connection records hold them.
//
// A record's first address has no scheme, further ones have one each ("a:389 ldap://b:389"),
// because the tools prepend the first one's scheme to the whole text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

struct ServerAddress {
    std::string host = {};  // an IPv6 address in its brackets
    int port = 0;           // 0: the default one

    std::string Text() const;  // HOST or HOST:PORT
    int PortFor(int ssl_type) const;
    std::string BareHost() const;  // without brackets
};

// What --uri gave: the address and its scheme ("" if it has none).
struct TypedAddress {
    ServerAddress server;
    std::string scheme;
};

// Throws Failure ("bad_address").
TypedAddress ParseTypedAddress(std::string_view text);

// The addresses of a record, without schemes. Never fails: text that is not an address is taken as
// a host name.
std::vector<ServerAddress> ParseRecordAddress(std::string_view text);

std::string RecordAddress(const std::vector<ServerAddress> &servers, int ssl_type);

}  // namespace zafo::cli
