// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/error.h"
#include "zafoldap/dn.h"
#include "zafoldap/error.h"

namespace {

struct Parent {
    const char *dn;
    const char *parent;
    size_t buffer;
};

constexpr Parent kParents[] = {
    {"uid=a,ou=people,dc=x", "ou=people,dc=x", 64},
    {"dc=com", "", 64},
    {"", "", 64},
    {",", "", 64},
    {",dc=b", "dc=b", 64},
    {"cn=a,", "", 64},
    {"cn=a,,dc=b", ",dc=b", 64},
    {"cn=a, dc=b", " dc=b", 64},                // blanks are kept
    {"cn=Doe\\, John,dc=b", " John,dc=b", 64},  // an escaped comma splits like any other
    {"cn=\"Doe, John\",dc=b", " John\",dc=b", 64},
    {"uid=a+cn=b,dc=x", "dc=x", 64},
    {"cn=Zo\xc3\xab,ou=\xc3\xa4,dc=b", "ou=\xc3\xa4,dc=b", 64},
    {"cn=a,dc=b", "dc", 3},
    {"cn=a,dc=b", "", 1},
    {"cn=a,dc=b", "d", 2},
    {"cn=a,dc=b", "dc=", 4},
    {"cn=a,dc=b", "dc=b", 5},  // fits exactly
    {"cn=a,dc=b", "dc=b", 6},
    {"dc=com", "", 1},
};

TEST(ParentDN, IsWhatFollowsTheFirstCommaCutToTheBuffer) {
    for (const Parent &row : kParents) {
        SCOPED_TRACE(std::string(row.dn) + " into " + std::to_string(row.buffer));
        std::string parent(row.buffer + 8, '#');
        EXPECT_EQ(ZAFOLDAPDNParserParentDN(row.dn, parent.data(), row.buffer), 0);
        EXPECT_STREQ(parent.c_str(), row.parent);
        EXPECT_EQ(parent.substr(row.buffer), "########") << "written past the buffer";
    }
}

TEST(ParentDN, CanBeOfAnyLength) {
    const std::string tail(100'000, 'x');
    std::vector<char> parent(tail.size() + 1);
    EXPECT_EQ(ZAFOLDAPDNParserParentDN(("cn=a," + tail).c_str(), parent.data(), parent.size()), 0);
    EXPECT_EQ(parent.data(), tail);
}

TEST(ParentDN, LeavesBothErrorSlotsOnSuccess) {
    QLIBCErrSet(0x1234);
    ZAFOLDAPErrSet(-77);
    char parent[16];
    ZAFOLDAPDNParserParentDN("cn=a,dc=b", parent, sizeof parent);
    EXPECT_EQ(QLIBCErrGet(), 0x1234);
    EXPECT_EQ(ZAFOLDAPErrGet(), -77);
    ZAFOLDAPErrReset();
}

}  // namespace
