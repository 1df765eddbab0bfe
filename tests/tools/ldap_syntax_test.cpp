// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/cli/failure.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/ldap_filter.h"
#include "tools/cli/server_address.h"

namespace {

using namespace zafo::cli;
using testing::HasSubstr;

TEST(Filter, AcceptsWhatRfc4515Allows) {
    for (const char *filter : {"(cn=Babs Jensen)",
                               "(!(cn=Tim Howes))",
                               "(&(objectClass=Person)(|(sn=Jensen)(cn=Babs J*)))",
                               "(o=univ*of*mich*)",
                               "(seeAlso=)",
                               "(cn:caseExactMatch:=Fred Flintstone)",
                               "(cn:=Betty Rubble)",
                               "(sn:dn:2.4.6.8.10:=Barney Rubble)",
                               "(o:dn:=Ace Industry)",
                               "(:1.2.3:=Wilma Flintstone)",
                               "(:DN:2.4.6.8.10:=Dino)",
                               "(o=Parens R Us \\28for all your parenthetical needs\\29)",
                               "(cn=*\\2A*)",
                               "(filename=C:\\5cMyFile)",
                               "(bin=\\00\\00\\00\\04)",
                               "(sn=Lu\\c4\\8di\\c4\\87)",
                               "(sn=Lučić)",
                               "(1.3.6.1.4.1.1466.0=\\04\\02\\48\\69)",
                               "(cn;lang-de=x)",
                               "(a>=1)",
                               "(a<=1)",
                               "(a~=b)",
                               "(&)",
                               "(|)",
                               "uid=alice",
                               " (uid=alice) ",
                               "( & (a=b) (c=d) )",
                               "(cn=*)"}) {
        const auto fault = FilterFault(filter);
        EXPECT_FALSE(fault.has_value()) << filter << ": " << (fault ? fault->reason : "");
    }
}

TEST(Filter, RefusesWithThePlaceOfTheFault) {
    struct Case {
        const char *filter;
        size_t position;
        const char *reason;
    };
    const Case kCases[] = {
        {"", 0, "empty"},
        {"   ", 3, "empty"},
        {"(uid=a", 0, "not closed"},
        {"(uid=a))", 7, "unmatched closing"},
        {"(&(a=b)(c=d)", 0, "not closed"},
        {"(&(a=b)(c=d", 7, "not closed"},
        {"()", 1, "empty brackets"},
        {"(a)", 2, "missing \"=\""},
        {"alice", 5, "missing \"=\""},
        {"(=a)", 1, "attribute name"},
        {"(!a=b)", 2, "after !"},
        {"(a=b)(c=d)", 5, "after the filter"},
        {"(a=b(c)", 4, "\\28"},
        {"a=b)", 3, "\\29"},
        {"(a=\\2)", 3, "hexadecimal"},
        {"(a=\\zz)", 3, "hexadecimal"},
        {"(a>=*)", 4, "\\2a"},
        {"(a:rule=b)", 7, ":="},
        {"(a=\xff)", 3, "UTF-8"},
        {"(&(a=b) x)", 8, "missing closing bracket"},
        {"-x=1", 0, "attribute name"},
    };
    for (const Case &row : kCases) {
        SCOPED_TRACE(row.filter);
        const auto fault = FilterFault(row.filter);
        ASSERT_TRUE(fault.has_value());
        EXPECT_THAT(fault->reason, HasSubstr(row.reason));
        EXPECT_EQ(fault->position, row.position);
    }
}

TEST(Filter, BracketsWithoutEndDoNotExhaustTheStack) {
    EXPECT_TRUE(FilterFault(std::string(10'000'000, '(')).has_value());
    std::string nested;
    for (int i = 0; i < 1'000'000; ++i)
        nested += "(!";
    EXPECT_TRUE(FilterFault(nested).has_value());
}

TEST(Filter, CaretStandsUnderTheFaultAlsoAfterWideCharacters) {
    EXPECT_EQ(WithCaret("(uid=a))", 7), "(uid=a))\n       ^");
    EXPECT_EQ(WithCaret("(cn=日本))", 11), "(cn=日本))\n         ^");
}

TEST(Dn, AcceptsWhatRfc4514Allows) {
    for (const char *dn :
         {"", "dc=example,dc=com", "UID=jsmith,DC=example,DC=net", "OU=Sales+CN=J.  Smith,DC=x",
          "CN=James \\\"Jim\\\" Smith\\, III,DC=x", "CN=Before\\0dAfter,DC=x",
          "1.3.6.1.4.1.1466.0=#04024869", "CN=Lu\\C4\\8Di\\C4\\87", "cn=Zoë, dc=x", "cn=\\ x\\ "}) {
        EXPECT_FALSE(DnFault(dn).has_value()) << dn;
    }
}

TEST(Dn, RefusesInvalidText) {
    const std::pair<const char *, size_t> kCases[] = {
        {"example.com", 11}, {"dc=example,", 11}, {",dc=x", 0},   {"dc", 2},      {"=x", 0},
        {"cn=a\"b,dc=x", 4}, {"cn=a\\zb", 4},     {"cn=a\nb", 0}, {"cn=\xff", 0},
    };
    for (const auto &[dn, position] : kCases) {
        SCOPED_TRACE(dn);
        const auto fault = DnFault(dn);
        ASSERT_TRUE(fault.has_value());
        EXPECT_EQ(fault->position, position);
    }
}

TEST(AttributeSelector, IsADescriptionOrOneOfTheThreeSigns) {
    for (const char *name : {"cn", "cn;lang-de", "2.5.4.3", "*", "+", "1.1"})
        EXPECT_TRUE(IsAttributeSelector(name));
    for (const char *name : {"", "-x", "a b", "a=b", "(cn=x)", "Ä"})
        EXPECT_FALSE(IsAttributeSelector(name));
}

TEST(ServerAddress, ReadsWhatPeopleType) {
    struct Case {
        const char *typed, *host, *scheme;
        int port;
    };
    for (const Case &row : {Case{"ldap.example.com", "ldap.example.com", "", 0},
                            {"h:1389", "h", "", 1389},
                            {"LDAPS://h:636/", "h", "ldaps", 636},
                            {"ldap://h", "h", "ldap", 0},
                            {"[::1]:389", "[::1]", "", 389},
                            {"192.0.2.1", "192.0.2.1", "", 0}}) {
        const TypedAddress typed = ParseTypedAddress(row.typed);
        EXPECT_EQ(typed.server.host, row.host);
        EXPECT_EQ(typed.server.port, row.port);
        EXPECT_EQ(typed.scheme, row.scheme);
    }
    for (const char *bad :
         {"", "ldapi:///x", "h:0", "h:65536", "h:x", "::1", "[::1", "[x]", "a b", "-H", "h/dc=x"}) {
        EXPECT_THROW(ParseTypedAddress(bad), Failure) << bad;
    }
}

TEST(ServerAddress, FurtherServersCarryTheSchemeOfTheTransport) {
    const std::vector<ServerAddress> servers = {{"a", 389}, {"b", 0}};
    EXPECT_EQ(RecordAddress(servers, 2), "a:389 ldap://b");
    EXPECT_EQ(RecordAddress(servers, 1), "a:389 ldaps://b");
    const auto read = ParseRecordAddress("a:389 ldap://b");
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(read[0].Text(), "a:389");
    EXPECT_EQ(read[1].Text(), "b");
}

}  // namespace
