// SPDX-License-Identifier: Apache-2.0
//
// Whether a database, or the server on it, has the tree that it is for.
#pragma once

#include <string>

namespace zafo::backup {

// "suffix" of a configuration, slapd.conf(5). Throws JobError kSystem when it has none or cannot be read.
std::string SuffixOf(const std::string &configuration);

// Whether the database of that configuration holds the suffix's entry; false also when slapcat(8) cannot read
// it. Works beside a running server.
bool HoldsSuffix(const std::string &configuration, const std::string &suffix);

// Whether it holds an entry that slapd takes for the one of that DN, however its name is written. Throws JobError
// kSystem when slapcat(8) cannot say.
bool HoldsEntry(const std::string &configuration, const std::string &dn);

enum class Answer {
    kFound,   // the suffix's entry
    kOther,   // a result of another kind: who is not logged in may not be told what there is
    kSilent,  // none
};

// Asks the running server, where its service lets it listen, as nobody. TLS is not checked: this goes
// to the machine itself and says nothing secret.
Answer AskServer(const std::string &suffix);

// Exit::kServer unless the started server answers within some seconds and its database has the suffix.
void ExpectServes(const std::string &configuration, const std::string &suffix);

}  // namespace zafo::backup
