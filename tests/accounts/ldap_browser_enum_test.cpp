// SPDX-License-Identifier: Apache-2.0
//
// Lists of users and groups, the requests behind them, and counting.
#include "tests/accounts/twins.h"

namespace zafo::accounts_test {
namespace {

class EnumRequest : public TwinTest {
  protected:
    ~EnumRequest() override { ZAFOLDAPSearchRequestFree(&request_); }
    ZAFOLDAP_SEARCH_REQUEST request_{"base", "filter", "extra", "sub", nullptr, 1, 2, 3, 4};
};
INSTANTIATE_TEST_SUITE_P(Of, EnumRequest, testing::ValuesIn(kTwins), TwinName);

TEST_P(EnumRequest, HasFilterAndAttributesAndNothingElse) {
    EXPECT_EQ(GetParam().init_request(&request_), 0);
    EXPECT_STREQ(request_.szFilter, GetParam().filter);
    EXPECT_EQ(core_test::Items(request_.plistAttr), GetParam().request_attributes);
    EXPECT_EQ(request_.plistAttr->nCapacity, 1024);
    EXPECT_EQ(request_.szBase, nullptr);
    EXPECT_EQ(request_.szExtra, nullptr);
    EXPECT_EQ(request_.szScope, nullptr);
    EXPECT_EQ(request_.blBaseAsIs, 0);
    EXPECT_EQ(request_.nOffset, 0);
    EXPECT_EQ(request_.nCount, 0);
    EXPECT_EQ(request_.nSizeLimit, 0);
}

class EnumAll : public TwinTest {
  protected:
    int Run(QLIBSZLIST **dns, QLIBSZLIST **names) {
        return GetParam().list_all(&host_, dns, names);
    }
    int Run() { return Run(dns_.Address(), names_.Address()); }

    List dns_, names_;
};
INSTANTIATE_TEST_SUITE_P(Of, EnumAll, testing::ValuesIn(kTwins), TwinName);

TEST_P(EnumAll, AsksForDNAndNameBelowTheBase) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords(kBase, {GetParam().filter, "dn", GetParam().name_attr})));
}

TEST_P(EnumAll, ListsDNsAndFirstNamesInTheServersOrder) {
    Answer(Entry("x=2", {"b", "second"}) + Entry("x=1", {"a"}));
    EXPECT_EQ(Run(), 2);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=2", "x=1"));
    EXPECT_THAT(names_.Items(), ElementsAre("b", "a"));
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_P(EnumAll, Appends) {
    Answer(Entry("x=1", {"a"}));
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=1", "x=1"));
    EXPECT_THAT(names_.Items(), ElementsAre("a", "a"));
}

TEST_P(EnumAll, EmptyDirectoryLeavesTheListsAsTheyWere) {
    QLIBCSzListPush(dns_.Address(), "before");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(dns_.Items(), ElementsAre("before"));
    EXPECT_THAT(names_.Items(), IsEmpty());
}

TEST_P(EnumAll, EitherListMayBeLeftOut) {
    Answer(Entry("x=1", {"a"}) + Entry("x=2", {"b"}));
    EXPECT_EQ(Run(nullptr, nullptr), 2);
    EXPECT_EQ(Run(dns_.Address(), nullptr), 2);
    EXPECT_EQ(Run(nullptr, names_.Address()), 2);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=1", "x=2"));
    EXPECT_THAT(names_.Items(), ElementsAre("a", "b"));
}

TEST_P(EnumAll, EntryWithoutDNOrNameIsSkipped) {
    const std::string name = std::string(GetParam().name_attr) + ": nameless\n\n";
    Answer(Entry("x=1", {}) + name + Entry("x=2", {"b"}));
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=2"));
    EXPECT_THAT(names_.Items(), ElementsAre("b"));
}

TEST_P(EnumAll, NamesInBase64AreDecoded) {
    Answer(std::string("dn:: eD3DpA==\n") + GetParam().name_attr + ":: w6Q=\n\n");
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=ä"));
    EXPECT_THAT(names_.Items(), ElementsAre("ä"));
}

TEST_P(EnumAll, WhatCameBeforeAFailureStays) {
    tools_.On("ldapsearch").Output(Entry("x=1", {"a"}) + Entry("x=2", {"b"})).Exit(4);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(dns_.Items(), ElementsAre("x=1", "x=2"));
    EXPECT_THAT(names_.Items(), ElementsAre("a", "b"));
    ExpectSlots(4, kStalePlatformCode);
}

class EnumByNumber : public TwinTest {
  protected:
    int Run(unsigned int number, QLIBSZLIST **dns) {
        return GetParam().list_by_number(&host_, number, dns);
    }
};
INSTANTIATE_TEST_SUITE_P(Of, EnumByNumber, testing::ValuesIn(kTwins), TwinName);

TEST_P(EnumByNumber, AsksForDNsOfTheNumberInUnsignedDecimal) {
    std::vector<Texts> expected;
    for (const auto &[number, text] : {std::pair{0u, "0"},
                                       {1027u, "1027"},
                                       {2147483648u, "2147483648"},
                                       {4294967295u, "4294967295"}}) {
        EXPECT_EQ(Run(number, nullptr), 0);
        expected.push_back(SearchWords(kBase, {Filter(GetParam().number_attr, text), "dn"}));
    }
    EXPECT_EQ(Commands(), expected);
}

TEST_P(EnumByNumber, CountsAndAppendsEveryEntryWithADN) {
    Answer("dn: x=1\n\nuid: without a DN\n\ndn: x=2\n\n");
    List dns{"before"};
    EXPECT_EQ(Run(7, dns.Address()), 2);
    EXPECT_THAT(dns.Items(), ElementsAre("before", "x=1", "x=2"));
    ExpectSlotsUntouched();
}

TEST_P(EnumByNumber, OnlyCountsWithoutAList) {
    Answer("dn: x=1\n\ndn: x=2\n\n");
    QLIBSZLIST *no_list = nullptr;
    EXPECT_EQ(Run(7, nullptr), 2);
    EXPECT_EQ(Run(7, &no_list), 2);
    EXPECT_EQ(no_list, nullptr);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_P(EnumByNumber, WhatCameBeforeAFailureStays) {
    tools_.On("ldapsearch").Output("dn: x=1\n\n").Exit(3);
    List dns;
    EXPECT_EQ(Run(7, dns.Address()), -1);
    EXPECT_THAT(dns.Items(), ElementsAre("x=1"));
}

class Count : public TwinTest {};
INSTANTIATE_TEST_SUITE_P(Of, Count, testing::ValuesIn(kTwins), TwinName);

TEST_P(Count, AsksForDNsOnly) {
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, GetParam().name), 0);
    EXPECT_THAT(Commands(), ElementsAre(SearchWords(kBase, {GetParam().filter, "dn"})));
    ExpectSlotsUntouched();
}

TEST_P(Count, CountsEveryEntryThatComes) {
    for (const int entries : {1, 2, 5000}) {
        tools_.Reset();
        std::string answer;
        for (int i = 0; i < entries; ++i)
            answer += "dn: uid=user" + std::to_string(i) + ",cn=users,dc=example,dc=com\n\n";
        Answer(answer);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, GetParam().name), entries);
    }
}

TEST_P(Count, OtherSubjectsAreRefusedUnasked) {
    const std::string name = GetParam().name;
    std::string capital = name;
    capital[0] = static_cast<char>(toupper(capital[0]));
    for (const std::string &subject :
         {std::string(), capital, name + "s", name.substr(1), name + " ", " " + name}) {
        SCOPED_TRACE(subject);
        log_.Clear();
        core_test::SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, subject.c_str()), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("wrong subject[0x1234]"));
        ExpectSlotsUntouched();
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test
