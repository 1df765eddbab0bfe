// SPDX-License-Identifier: Apache-2.0
//
// Users and groups work alike: tests of what they share run for both.
#pragma once

#include "tests/accounts/reading_fixture.h"

namespace zafo::accounts_test {

struct Twin {
    const char *name;
    const char *filter;
    const char *name_attr;
    const char *number_attr;
    Texts request_attributes;
    int (*init_request)(ZAFOLDAP_SEARCH_REQUEST *);
    int (*list_all)(const ZAFOLDAP_HOST *, QLIBSZLIST **, QLIBSZLIST **);
    int (*list_by_number)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
    int (*dn_of)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*name_of)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
};

inline void PrintTo(const Twin &twin, std::ostream *out) {
    *out << twin.name;
}

inline const Twin kTwins[] = {
    {"user",
     "objectClass=posixAccount",
     "uid",
     "uidNumber",
     {"dn", "cn", "uid", "gecos", "shadowExpire", "mail"},
     ZAFOLDAPBrowserUserEnumRequestInit,
     ZAFOLDAPBrowserUserEnumAll,
     ZAFOLDAPBrowserUserEnumByUIDNumber,
     ZAFOLDAPBrowserGetDNByUserUID,
     ZAFOLDAPPosixGetUserUID},
    {"group",
     "objectClass=posixGroup",
     "cn",
     "gidNumber",
     {"dn", "cn", "description"},
     ZAFOLDAPBrowserGroupEnumRequestInit,
     ZAFOLDAPBrowserGroupEnumAll,
     ZAFOLDAPBrowserGroupEnumByGIDNumber,
     ZAFOLDAPBrowserGetDNByGroupCN,
     ZAFOLDAPPosixGetGroupCN},
};

class TwinTest : public ReadingTest, public testing::WithParamInterface<Twin> {
  protected:
    // An entry with this DN and these names.
    std::string Entry(const std::string &dn, const Texts &names) const {
        std::string entry = "dn: " + dn + "\n";
        for (const std::string &name : names)
            entry.append(GetParam().name_attr).append(": ").append(name).append("\n");
        return entry + "\n";
    }
    // "(&(CLASS)(ATTR=VALUE))"
    std::string Filter(const std::string &attr, const std::string &value) const {
        return std::string("(&(") + GetParam().filter + ")(" + attr + "=" + value + "))";
    }
};

inline std::string TwinName(const testing::TestParamInfo<Twin> &info) {
    return info.param.name;
}

}  // namespace zafo::accounts_test
