// SPDX-License-Identifier: Apache-2.0
//
// The tools that have a front, and what the front must know about each.
#pragma once

#include <string_view>

namespace zafo::front {

enum class Family {
    kClient,   // talks LDAP to a server
    kOffline,  // opens the local server's database itself
    kHash,     // slappasswd: talks to nobody
    kRandom,   // openssl
};

struct Tool {
    std::string_view name;
    // Option letters that take a value, in the same argument or the next.
    std::string_view with_value;
    // Pairs: a letter whose value is a secret, the letter that reads it from a file.
    std::string_view secrets;
    Family family;
    // The letter that names the file to read in place of standard input; 0 for none.
    char input;
    // Ends when its output has no reader any more.
    bool ends_with_reader;
};

// The tool of that base name; nullptr if unknown.
const Tool *FindTool(std::string_view name);

}  // namespace zafo::front
