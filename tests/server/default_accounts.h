// SPDX-License-Identifier: Apache-2.0
//
// The tool runs that add the default accounts.
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

// None of the accounts exists yet.
inline const std::vector<Step> kDefaultSteps = {
    {"ldapsearch", "dn: cn=zafoconf,dc=example,dc=com\n\n"},  // the server's own description
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

// What creating "admin" logs if the directory has no home folders.
inline const std::string kNoHomes = "unknown format of automountInformation: ";

}  // namespace zafo::server_test
