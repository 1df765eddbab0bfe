// SPDX-License-Identifier: Apache-2.0
//
// Users and groups work alike; one row for each holds the differences.
#pragma once

#include <string_view>
#include <vector>

#include "platform/szlist.h"
#include "tools/cli/message.h"
#include "zafoldap.h"

namespace zafo::cli {

// An option that sets an attribute of a class that not every entry has.
struct ClassOption {
    std::string_view option;
    unsigned int schema_bit;
    std::string_view schema_class;
};

struct AccountKind {
    std::string_view noun;         // "user"
    std::string_view number;       // "uid": option and field
    std::string_view filter;       // "objectClass=posixAccount"
    std::string_view name_attr;    // "uid"
    std::string_view number_attr;  // "uidNumber"
    std::string_view container;    // "cn=users"
    unsigned int schema_bit;
    std::string_view schema_class;
    Message missing;
    Message name_taken;
    Message number_taken;
    std::vector<ClassOption> class_options;
    int lowest;  // as in zafoldap/samba.h
    int highest;
    int current;
    int (*dn_of_name)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*dns_of_number)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
    int (*suggest)(const ZAFOLDAP_HOST *);
};

extern const AccountKind kUserKind;
extern const AccountKind kGroupKind;

}  // namespace zafo::cli
