// SPDX-License-Identifier: Apache-2.0
//
// The runs of tools in which the default accounts are added.
#pragma once

#include "tests/rig/cipher.h"
#include "tests/server/server_fixture.h"

namespace zafo::server_test {

inline const std::string kSchema =
    "dn: cn=Subschema\n"
    "objectClasses: ( 2.5.6.0 NAME 'top' )\n"
    "objectClasses: ( 1.3.6.1.1.1.2.0 NAME 'posixAccount' )\n"
    "objectClasses: ( 1.3.6.1.1.1.2.1 NAME 'shadowAccount' )\n"
    "objectClasses: ( 1.3.6.1.1.1.2.2 NAME 'posixGroup' )\n"
    "objectClasses: ( 2.16.840.1.113730.3.2.2 NAME 'inetOrgPerson' )\n\n";

// Nothing of what is to be added exists.
inline const std::vector<Step> kDefaultSteps = {
    {"ldapsearch", "dn: cn=zafoconf,dc=example,dc=com\n\n"},  // what the server says of itself
    {"ldapsearch", "dn:\nsubschemaSubentry: cn=Subschema\n\n"},
    {"ldapsearch", kSchema},
    {"ldapsearch"},  // "users": name, number, entry
    {"ldapsearch"},
    {"ldapmodify"},
    {"ldapsearch"},  // "Directory Operators"
    {"ldapsearch"},
    {"ldapmodify"},
    {"ldapsearch"},  // "administrators"
    {"ldapsearch"},
    {"ldapmodify"},
    {"ldapsearch"},  // "admin": name, number, hash, entry, password, home folder
    {"ldapsearch"},
    {"slappasswd", kHash + "\n"},
    {"ldapmodify"},
    {"ldappasswd"},
    {"ldapsearch"},
    {"ldapmodify"},  // memberships
    {"ldapmodify"},
};

// What the creation of "admin" says of a directory without home folders.
inline const std::string kNoHomes = "unknown format of automountInformation: ";

}  // namespace zafo::server_test
