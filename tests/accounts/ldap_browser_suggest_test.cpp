// SPDX-License-Identifier: Apache-2.0
//
// Suggestions: a number for a new account, base DNs for a new connection.
#include <climits>

#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct SuggestKind {
    const char *attribute;
    const char *filter;
    int (*suggest)(const ZAFOLDAP_HOST *);
};

void PrintTo(const SuggestKind &kind, std::ostream *out) {
    *out << kind.attribute;
}

class SuggestXid : public AccountsTest, public testing::WithParamInterface<SuggestKind> {
  protected:
    const SuggestKind kind_ = GetParam();
    int Suggest() { return kind_.suggest(&host_); }
};

TEST_P(SuggestXid, IsOneMoreThanTheHighestInUseAndAtLeast1027) {
    const std::pair<Texts, int> kDirectories[] = {
        {{}, 1027},
        {{"500"}, 1027},
        {{"5000"}, 5001},
        {{"5000", "70", "6000", "1"}, 6001},
        {{"1026"}, 1027},
        {{"1027"}, 1028},
        {{"-2"}, 1027},
        {{"-9223372036854775808"}, 1027},
        {{"none"}, 1027},
        {{"2147483646"}, INT_MAX},
        {{"4294967294"}, -1},  // as an int
        {{"9223372036854775807"}, 0},
    };
    for (const auto &[numbers, proposal] : kDirectories) {
        SCOPED_TRACE(testing::PrintToString(numbers));
        tools_.Reset();
        std::string entries = "dn: cn=without\n\n";
        for (const std::string &number : numbers)
            entries += Entry1(kind_.attribute, number);
        Answer({entries});
        EXPECT_EQ(Suggest(), proposal);
        EXPECT_THAT(
            CallsOf("ldapsearch"),
            ElementsAre(Searched({"-b", "dc=example,dc=com", kind_.filter, kind_.attribute})));
    }
    EXPECT_THAT(CallsOf("ldapmodify"), IsEmpty()) << "nothing is reserved";
}

TEST_P(SuggestXid, FirstOfSeveralValuesCounts) {
    const std::string attribute = kind_.attribute;
    Answer({"dn: cn=a\n" + attribute + ": 3000\n" + attribute + ": 9000\n\n"});
    EXPECT_EQ(Suggest(), 3001);
}

TEST_P(SuggestXid, AppleServerIsForeign) {
    host_.nServerType = ZAFOLDAP_SERVER_APPLE;
    Answer({Entry1(kind_.attribute, "5000")});
    EXPECT_EQ(Suggest(), 5001);
}

TEST_P(SuggestXid, FailedSearchIsAFailure) {
    tools_.On("ldapsearch").Output(Entry1(kind_.attribute, "5000")).Exit(4);
    EXPECT_EQ(Suggest(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);
}

TEST_P(SuggestXid, OnTheAppliancesServerTheNumberIsTakenFromThePool) {
    host_.nServerType = ZAFOLDAP_SERVER_ZAFO;
    Answer({Entry1(kind_.attribute, "1000"), Entry1(kind_.attribute, "2000"),
            Entry1(kind_.attribute, "1500"), ""});
    EXPECT_EQ(Suggest(), 1500);
    EXPECT_THAT(Changes(),
                ElementsAre(testing::HasSubstr(std::string(kind_.attribute) + ": 1501")));
}

INSTANTIATE_TEST_SUITE_P(
    Twins, SuggestXid,
    testing::Values(SuggestKind{"uidNumber", "objectClass=posixAccount", ZAFOLDAPBrowserSuggestUid},
                    SuggestKind{"gidNumber", "objectClass=posixGroup", ZAFOLDAPBrowserSuggestGid}),
    [](const auto &test) { return std::string(test.param.attribute); });

class SuggestBaseDN : public AccountsTest {
  protected:
    int Suggest() { return ZAFOLDAPBrowserSuggestBaseDN(&host_, list_.Address()); }
    List list_;
};

TEST_F(SuggestBaseDN, IsEveryNamingContextInTheServersOrder) {
    Answer({"dn:\nnamingContexts: dc=example,dc=com\nnamingContexts: dc=example,dc=org\n\n"});
    EXPECT_EQ(Suggest(), 0);
    EXPECT_THAT(list_.Items(), ElementsAre("dc=example,dc=com", "dc=example,dc=org"));
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "logged while debugging only";
}

TEST_F(SuggestBaseDN, AsksTheRootEntryAnonymouslyWhateverTheRecordsBindDN) {
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "secret";
    const std::pair<int, const char *> kSSL[] = {
        {0, "ldap://server"}, {1, "ldaps://server"}, {2, "ldap://server"}};
    for (const auto &[ssl, address] : kSSL) {
        tools_.Reset();
        host_.nSSLType = ssl;
        EXPECT_EQ(Suggest(), 0);
        Texts wanted = {"-LLL", "-x", "-H", address};
        if (ssl == 2) wanted.emplace_back("-Z");
        wanted.insert(wanted.end(), {"-b", "", "-s", "base", "namingContexts"});
        EXPECT_THAT(CallsOf("ldapsearch"), ElementsAre(wanted));
    }
}

TEST_F(SuggestBaseDN, AppendsToTheList) {
    QLIBCSzListPush(list_.Address(), "dc=mine");
    Answer({"dn:\nnamingContexts: dc=a\n\ndn:\nnamingContexts: dc=b\n\n"});
    EXPECT_EQ(Suggest(), 0);
    EXPECT_THAT(list_.Items(), ElementsAre("dc=mine", "dc=a", "dc=b"));
}

TEST_F(SuggestBaseDN, ServerThatRefusesAnonymousQuestionsHasNoProposal) {
    for (int code = 0; code <= 255; ++code) {
        SCOPED_TRACE(code);
        tools_.Reset();
        Refuse(code);
        EXPECT_EQ(Suggest(), code == 0 || (code >= 47 && code <= 50) ? 0 : -1);
    }
    EXPECT_THAT(list_.Items(), IsEmpty());
}

TEST_F(SuggestBaseDN, WhatCameBeforeARefusalStays) {
    tools_.On("ldapsearch").Output("dn:\nnamingContexts: dc=a\n\n").Exit(50);
    EXPECT_EQ(Suggest(), 0);
    EXPECT_THAT(list_.Items(), ElementsAre("dc=a"));
}

}  // namespace
}  // namespace zafo::core_test
