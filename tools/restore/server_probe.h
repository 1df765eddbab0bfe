// SPDX-License-Identifier: Apache-2.0
//
// Whether a database, or the server running on it, contains its suffix's tree.
#pragma once

#include <string>

namespace zafo::backup {

// The "suffix" of a slapd.conf(5). Throws JobError kSystem when it has none or cannot be read.
std::string SuffixOf(const std::string &configuration);

// Whether the database of that configuration holds the suffix's entry; also false when slapcat(8)
// cannot read it. Works while the server is running.
bool HoldsSuffix(const std::string &configuration, const std::string &suffix);

// Whether it holds an entry that slapd considers to have that DN, however it is written. Throws
// JobError kSystem when slapcat(8) cannot tell.
bool HoldsEntry(const std::string &configuration, const std::string &dn);

enum class Answer {
    kFound,   // the suffix's entry
    kOther,   // a different result: anonymous clients may not learn what exists
    kSilent,  // no result
};

// Asks the running server anonymously, on the URLs its service listens on. TLS is not verified:
// this connects to the local machine and sends nothing secret.
Answer AskServer(const std::string &suffix);

// Throws Exit::kServer unless the started server answers within a few seconds and its database has
// the suffix.
void ExpectServes(const std::string &configuration, const std::string &suffix);

}  // namespace zafo::backup
