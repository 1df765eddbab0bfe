// SPDX-License-Identifier: Apache-2.0
//
// New entries of the local server's tree, and the two ways to add them: through the running server,
// or offline, directly to the database.
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

// "ATTR=NAME,PARENT", of any length; the DN is validated when the entry is added.
std::string EntryDN(const char *attribute, const char *name, const std::string &parent);

// "cn=NAME,PARENT", an entry that contains others.
Entry Container(const char *name, const std::string &parent);

// Adds an entry through the server. Returns 0, or -1 as ZAFOLDAPModify does, with 0x0B00 when the
// disk has no room for the change file, or 0x0E00 or 0x0D00 when the DN is too long, empty or more
// than one line.
int AddEntry(const ZAFOLDAP_HOST &host, const Entry &entry);

// Adds an entry with slapadd. Returns 0, or -1 as ZAFOLDAPServerSlapadd does or as above.
int LoadEntry(const Entry &entry);

}  // namespace zafo
