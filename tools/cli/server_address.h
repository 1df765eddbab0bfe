// SPDX-License-Identifier: Apache-2.0
//
// Server addresses: what a person types and what a connection record holds.
//
// A record's address has no scheme, and servers to try after the first follow with one each
// ("a:389 ldap://b:389"), because the tools put the first one's scheme before the whole text.
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

// What --uri gave: the address, and whether it says ldaps:// ("" when it has no scheme).
struct TypedAddress {
    ServerAddress server;
    std::string scheme;
};

// Throws Failure ("bad_address").
TypedAddress ParseTypedAddress(std::string_view text);

// The addresses of a record, schemes dropped. Never fails: a text that is no address is taken
// as a host name.
std::vector<ServerAddress> ParseRecordAddress(std::string_view text);

std::string RecordAddress(const std::vector<ServerAddress> &servers, int ssl_type);

}  // namespace zafo::cli
