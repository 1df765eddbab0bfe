// SPDX-License-Identifier: Apache-2.0
//
// Predefined searches: DNs with one value each, all values of one entry, one value of a DN.
#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Texts Tail(const Texts &argv, size_t count) {
    return {argv.end() - static_cast<std::ptrdiff_t>(std::min(count, argv.size())), argv.end()};
}

class EachValue : public CoreTest {
  protected:
    int Run(const char *attribute, bool with_values = true) {
        return ZAFOLDAPSearchEachValue(&host_, &request_, attribute, dns_.Address(),
                                       with_values ? values_.Address() : nullptr);
    }

    Request request_{"ignored"};
    List dns_{"stale"}, values_{"stale", "stale"};
};

TEST_F(EachValue, ListsStayParallelWithEmptyTextForAMissingAttribute) {
    tools_.On("ldapsearch").Output("dn: a\ncn: x\ncn: y\n\ndn: b\n\ndn: c\nCN: z\n\n");
    EXPECT_EQ(Run("cn"), 0);
    EXPECT_THAT(dns_.Items(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(values_.Items(), ElementsAre("x", "", "z"));
}

TEST_F(EachValue, AsksForTheDNAndTheAttributeOnly) {
    request_.szFilter = "(cn=*)";
    EXPECT_EQ(Run("cn"), 0);
    EXPECT_THAT(Tail(tools_.Calls().at(0).argv, 3), ElementsAre("(cn=*)", "dn", "cn"));
    EXPECT_THAT(Items(request_.plistAttr), ElementsAre("ignored")) << "the request is left alone";
}

TEST_F(EachValue, DNOnlyNeedsNoValueList) {
    tools_.On("ldapsearch").Output("dn: a\n\ndn: b\n\n");
    EXPECT_EQ(Run("dn", false), 0);
    EXPECT_THAT(dns_.Items(), ElementsAre("a", "b"));
    EXPECT_THAT(Tail(tools_.Calls().at(0).argv, 2), ElementsAre("dc=example,dc=com", "dn"));
}

TEST_F(EachValue, DNOnlyEmptiesAGivenValueList) {
    tools_.On("ldapsearch").Output("dn: a\n\n");
    EXPECT_EQ(Run("dn"), 0);
    EXPECT_THAT(values_.Items(), IsEmpty());
}

TEST_F(EachValue, DNInCapitalsIsAnAttributeLikeAnyOther) {
    EXPECT_EQ(Run("DN", false), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    tools_.On("ldapsearch").Output("dn: a\n\n");
    EXPECT_EQ(Run("DN"), 0);
    EXPECT_THAT(values_.Items(), ElementsAre("a"));
}

TEST_F(EachValue, EntryWithoutDNIsSkipped) {
    tools_.On("ldapsearch").Output("cn: x\n\ndn: b\ncn: y\n\n");
    EXPECT_EQ(Run("cn"), 0);
    EXPECT_THAT(dns_.Items(), ElementsAre("b"));
    EXPECT_THAT(values_.Items(), ElementsAre("y"));
}

TEST_F(EachValue, NoEntryEmptiesTheLists) {
    EXPECT_EQ(Run("cn"), 0);
    EXPECT_THAT(dns_.Items(), IsEmpty());
    EXPECT_THAT(values_.Items(), IsEmpty());
}

TEST_F(EachValue, FailureKeepsWhatCame) {
    tools_.On("ldapsearch").Output("dn: a\ncn: x\n\n").Exit(4);
    EXPECT_EQ(Run("cn"), -1);
    EXPECT_THAT(dns_.Items(), ElementsAre("a"));
    EXPECT_THAT(values_.Items(), ElementsAre("x"));
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);
}

TEST_F(EachValue, HonoursBaseScopeWindowAndLimit) {
    request_.szBase = "cn=users";
    request_.szScope = "one";
    request_.nSizeLimit = 9;
    request_.nOffset = 1;
    request_.nCount = 1;
    tools_.On("ldapsearch").Output("dn: a\n\ndn: b\n\ndn: c\n\n");
    EXPECT_EQ(Run("cn"), 0);
    EXPECT_THAT(dns_.Items(), ElementsAre("b"));
    EXPECT_THAT(
        Tail(tools_.Calls().at(0).argv, 8),
        ElementsAre("-b", "cn=users,dc=example,dc=com", "-z", "9", "-s", "one", "dn", "cn"));
}

class MultiValue : public CoreTest {
  protected:
    int Run(const char *attribute) {
        return ZAFOLDAPSearchMultiValue(&host_, &request_, attribute, values_.Address());
    }

    Request request_{"ignored"};
    List values_{"stale"};
};

TEST_F(MultiValue, GivesAllValuesOfTheFirstEntryOnly) {
    tools_.On("ldapsearch")
        .IgnoreSignals()
        .Output("dn: a\nmemberUid: x\nMEMBERUID: y\ncn: z\n\ndn: b\nmemberUid: w\n\n");
    EXPECT_EQ(Run("memberUid"), 0);
    EXPECT_THAT(values_.Items(), ElementsAre("x", "y"));
    EXPECT_THAT(tools_.Calls().at(0).argv.back(), "memberUid");
    EXPECT_THAT(tools_.Calls().at(0).argv, testing::Not(Contains("ignored")));
    EXPECT_THAT(Items(request_.plistAttr), ElementsAre("ignored"));
}

TEST_F(MultiValue, EntryWithoutTheAttributeIsSuccessWithNothing) {
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\n\ndn: b\nmail: x\n\n");
    EXPECT_EQ(Run("mail"), 0);
    EXPECT_THAT(values_.Items(), IsEmpty());
}

TEST_F(MultiValue, NoEntryIsSuccessWithNothing) {
    EXPECT_EQ(Run("mail"), 0);
    EXPECT_THAT(values_.Items(), IsEmpty());
}

TEST_F(MultiValue, FailingToolFails) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(Run("mail"), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

class GetValueByDN : public CoreTest {
  protected:
    int Run(const char *filter = nullptr, size_t size = 64) {
        value_.assign(80, '#');
        return ZAFOLDAPSearchGetValueByDN(&host_, "uid=ann,dc=x", filter, "cn", value_.data(),
                                          size);
    }

    std::string value_;
};

TEST_F(GetValueByDN, GivesTheFirstValueAndHowManyThereAre) {
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\ncn: one\ncn: two\n\ndn: b\ncn: c\n\n");
    EXPECT_EQ(Run(), 2);
    EXPECT_STREQ(value_.c_str(), "one");
}

TEST_F(GetValueByDN, SearchesBelowTheWholeDNWithTheGivenFilter) {
    Run();
    Run("(objectClass=person)");
    const auto calls = tools_.Calls();
    EXPECT_THAT(calls.at(0).argv, ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H",
                                              "ldap://server", "-b", "uid=ann,dc=x", "cn"));
    EXPECT_THAT(Tail(calls.at(1).argv, 3),
                ElementsAre("uid=ann,dc=x", "(objectClass=person)", "cn"));
}

TEST_F(GetValueByDN, MissingAttributeIsZeroWithEmptyText) {
    tools_.On("ldapsearch").Output("dn: a\nsn: x\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(value_.c_str(), "");
}

TEST_F(GetValueByDN, NoEntryIsZeroWithEmptyText) {
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(value_.c_str(), "");
}

TEST_F(GetValueByDN, ValueIsCutToTheBuffer) {
    tools_.On("ldapsearch").Output("dn: a\ncn: value\n\n");
    const Texts cut = {"", "v", "va", "val", "valu", "value", "value"};
    for (size_t size = 1; size <= cut.size(); ++size) {
        EXPECT_EQ(Run(nullptr, size), 1);
        EXPECT_EQ(value_.c_str(), cut[size - 1]);
        EXPECT_EQ(value_[size], '#') << "written past the buffer";
    }
}

TEST_F(GetValueByDN, FailingToolFails) {
    tools_.On("ldapsearch").Exit(32);
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

}  // namespace
}  // namespace zafo::core_test
