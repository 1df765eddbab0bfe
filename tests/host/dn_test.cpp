// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/ldap.h"

namespace zafo::dn_test {
namespace {

// The result of one of the functions that write to a buffer, or "(failed CODE)".
template <typename Function, typename... Arguments>
std::string Result(Function function, Arguments... arguments) {
    char buffer[256] = "untouched";
    QLIBCErrSet(0);
    if (function(arguments..., buffer, sizeof buffer) == 0) return buffer;
    char code[32];
    snprintf(code, sizeof code, "(failed 0x%04X)", static_cast<unsigned>(QLIBCErrGet()));
    return code;
}

struct Row {
    const char *dn;
    const char *domain;
    const char *first;
};

const Row kRows[] = {
    {"dc=example,dc=com", "example.com", "example"},
    {"dc=com", "com", "com"},
    {"cn=users,DC=Example,Dc=com", "Example.com", "Example"},
    {"uid=a , dc = example ,  dc=com ", "example.com", "example"},
    {"ou=x+dc=example,o=y+DC=com", "example.com", "example"},
    {"domainComponent=example,0.9.2342.19200300.100.1.25=com", "example.com", "example"},
    {"cn=a\\,dc=no,dc=com", "com", "com"},
    {"cn=\"a,dc=no\",dc=com", "com", "com"},
    {"cn=a\\+dc=no,dc=com", "com", "com"},
    {"dc=\\65xample;dc=com", "example.com", "example"},
    {"dc=\"example\",dc=com", "example.com", "example"},
    {"cn=,dc=com", "com", "com"},
    {"cn=a=b,dc=com", "com", "com"},
};

TEST(DomainName, JoinsTheDomainComponents) {
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.dn);
        EXPECT_EQ(Result(ZAFOLDAPDNDomainName, row.dn), row.domain);
        EXPECT_EQ(Result(ZAFOLDAPDNFirstDomainComponent, row.dn), row.first);
    }
}

TEST(DomainName, FailsOnOtherDnsAndOnInvalidText) {
    for (const char *dn :
         {"", " ", "o=example,c=de", "dc", "dc=a,", ",dc=a", "dc=a,,dc=b", "=a,dc=b", "dc=a\\",
          "dc=\"a", "dc=", "dc=a\\00b", "dcx=a", "cn=a+,dc=b", "dc=a,x"}) {
        SCOPED_TRACE(dn);
        EXPECT_EQ(Result(ZAFOLDAPDNDomainName, dn), "(failed 0x0F00)");
        EXPECT_EQ(Result(ZAFOLDAPDNFirstDomainComponent, dn), "(failed 0x0F00)");
    }
}

TEST(DomainName, FitsExactlyOrNotAtAll) {
    char exact[12];
    EXPECT_EQ(ZAFOLDAPDNDomainName("dc=example,dc=com", exact, sizeof exact), 0);
    EXPECT_STREQ(exact, "example.com");
    char small[11] = "untouched";
    EXPECT_EQ(ZAFOLDAPDNDomainName("dc=example,dc=com", small, sizeof small), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_STREQ(small, "untouched");
    EXPECT_EQ(ZAFOLDAPDNFirstDomainComponent("dc=example", small, 7), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
}

TEST(RdnExtract, GivesAnRdnAsItIsWritten) {
    const std::pair<int, const char *> rows[] = {
        {1, "cn=Lee\\, Zo\\C3\\AB\\ "}, {2, "ou=a+ou=\"b,c\""}, {3, "dc = example"}, {4, "DC=com"}};
    const char *dn = " cn=Lee\\, Zo\\C3\\AB\\   , ou=a+ou=\"b,c\",dc = example ; DC=com ";
    for (const auto &[index, expected] : rows) {
        EXPECT_EQ(Result(ZAFOLDAPRDNExtract, dn, index), expected);
    }
    EXPECT_EQ(Result(ZAFOLDAPRDNExtract, dn, 5), "(failed 0x0F00)");
    EXPECT_EQ(Result(ZAFOLDAPRDNExtract, dn, 0), "(failed 0x0D00)");
    EXPECT_EQ(Result(ZAFOLDAPRDNExtract, dn, -1), "(failed 0x0D00)");
    EXPECT_EQ(Result(ZAFOLDAPRDNExtract, "", 1), "(failed 0x0F00)");
    EXPECT_EQ(Result(ZAFOLDAPRDNExtract, "no dn", 1), "(failed 0x0F00)");
}

TEST(RdnPairExtract, SplitsAtTheFirstEqualsSign) {
    const char *const rows[][3] = {
        {"cn=alice", "cn", "alice"},
        {" cn = a b ", "cn", "a b"},
        {"cn=a=b", "cn", "a=b"},
        {"cn=", "cn", ""},
        {"cn=a\\, b\\ ", "cn", "a\\, b\\ "},
        {"cn=a\\\\ ", "cn", "a\\\\"},
        {"uid=a+mail=b", "uid", "a+mail=b"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row[0]);
        char attribute[64], value[64];
        EXPECT_EQ(ZAFOLDAPRDNPairExtract(row[0], attribute, sizeof attribute, value, sizeof value),
                  0);
        EXPECT_STREQ(attribute, row[1]);
        EXPECT_STREQ(value, row[2]);
    }
}

TEST(RdnPairExtract, WritesBothOrNone) {
    char attribute[4] = "?", value[4] = "?";
    const auto extract = [&](const char *rdn) {
        return ZAFOLDAPRDNPairExtract(rdn, attribute, sizeof attribute, value, sizeof value);
    };
    for (const char *rdn : {"cn=long", "long=x"}) {
        EXPECT_EQ(extract(rdn), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    }
    for (const char *rdn : {"", "cn", "=x", " =x"}) {
        QLIBCErrSet(0);
        EXPECT_EQ(extract(rdn), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
    }
    EXPECT_STREQ(attribute, "?");
    EXPECT_STREQ(value, "?");
}

TEST(DnHelpers, RefuseNullArguments) {
    char buffer[64];
    const int results[] = {
        ZAFOLDAPDNDomainName(nullptr, buffer, sizeof buffer),
        ZAFOLDAPDNDomainName("dc=a", nullptr, 0),
        ZAFOLDAPDNFirstDomainComponent(nullptr, buffer, sizeof buffer),
        ZAFOLDAPDNFirstDomainComponent("dc=a", nullptr, 0),
        ZAFOLDAPRDNExtract(nullptr, 1, buffer, sizeof buffer),
        ZAFOLDAPRDNExtract("dc=a", 1, nullptr, 0),
        ZAFOLDAPRDNPairExtract(nullptr, buffer, 32, buffer + 32, 32),
        ZAFOLDAPRDNPairExtract("dc=a", nullptr, 0, buffer, 32),
        ZAFOLDAPRDNPairExtract("dc=a", buffer, 32, nullptr, 0),
    };
    for (const int result : results)
        EXPECT_EQ(result, -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

}  // namespace
}  // namespace zafo::dn_test
