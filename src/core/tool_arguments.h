// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "zafoldap/host.h"

namespace zafo {

// The argument vector of a tool, its path first. Passwords are among the items: they stay where
// they are put, and are wiped when the vector goes.
class ToolArguments {
  public:
    ToolArguments(std::initializer_list<std::string_view> items) { Add(items); }
    ToolArguments(ToolArguments &&) = default;
    ~ToolArguments();

    void Add(std::initializer_list<std::string_view> items);

    // The connection as the tools of OpenLDAP take it: address, encryption, who binds.
    void AddConnection(const ZAFOLDAP_HOST &host);

    // For a call that takes the vector, valid until the next item is added.
    char **argv();

    // One printable line, items that are no options in single quotes; it ends before the first item
    // that would make it longer than `most`. Nothing is escaped: the line is for people.
    std::string CommandLine(size_t most = std::string::npos) const;

  private:
    std::list<std::string> items_;
    std::vector<char *> argv_;
};

// "ldaps://" or "ldap://" before the host's address, cut to `most` characters.
std::string ServerAddress(const ZAFOLDAP_HOST &host, size_t most);

}  // namespace zafo
