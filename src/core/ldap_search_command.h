// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "zafoldap/host.h"
#include "zafoldap/search.h"

namespace zafo {

// The argument vector of ldapsearch for a request, the tool's path first.
std::vector<std::string> SearchArguments(const ZAFOLDAP_HOST &host,
                                         const ZAFOLDAP_SEARCH_REQUEST &request);

// A vector as one printable line, items that are no options in single quotes.
// Nothing is escaped: the line is for people.
std::string CommandLine(const std::vector<std::string> &arguments);

// "ldaps://" or "ldap://" before the host's address, cut to `nMax` characters.
std::string ServerAddress(const ZAFOLDAP_HOST &host, size_t nMax);

}  // namespace zafo
