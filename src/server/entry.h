// SPDX-License-Identifier: Apache-2.0
//
// New entries of the local server's tree, and the two ways in: through the running server, or
// past it into the database.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "zafoldap/host.h"

namespace zafo {

struct Entry {
    std::string dn;
    std::vector<std::pair<const char *, std::string>> attributes;
};

// "ATTR=NAME,PARENT", as long as it gets: whether it can be a name is asked when it becomes one.
std::string EntryDN(const char *attribute, const char *name, const std::string &parent);

// "cn=NAME,PARENT", an entry that holds others.
Entry Container(const char *name, const std::string &parent);

// Adds an entry through the server. 0; -1 as ZAFOLDAPModify, with 0x0B00 when the disk had no
// room for the change file, or with 0x0E00 or 0x0D00 when the DN is too long, empty or more
// than one line.
int AddEntry(const ZAFOLDAP_HOST &host, const Entry &entry);

// Adds an entry with slapadd. 0; -1 as ZAFOLDAPServerSlapadd, or as above.
int LoadEntry(const Entry &entry);

}  // namespace zafo
