// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "zafoldap/host.h"

namespace zafo {

// A tool's argument vector, its path first. Items may be passwords: they are never moved in memory,
// and are wiped by the destructor.
class ToolArguments {
  public:
    ToolArguments(std::initializer_list<std::string_view> items) { Add(items); }
    ToolArguments(ToolArguments &&) = default;
    ~ToolArguments();

    void Add(std::initializer_list<std::string_view> items);

    // The connection options of OpenLDAP's tools: address, encryption, bind DN and password.
    void AddConnection(const ZAFOLDAP_HOST &host);

    // For a call that takes the vector; valid until the next item is added.
    char **argv();

    // The command as one line, with single quotes around items that are not options, ending before
    // the first item that would make it longer than `most`. Nothing is escaped: the line is for
    // people.
    std::string CommandLine(size_t most = std::string::npos) const;

  private:
    std::list<std::string> items_;
    std::vector<char *> argv_;
};

// The host's address with "ldaps://" or "ldap://" prepended, truncated to `most` characters.
std::string ServerAddress(const ZAFOLDAP_HOST &host, size_t most);

}  // namespace zafo
