// SPDX-License-Identifier: Apache-2.0
//
// DNs from filters and names, and names from DNs.
#include "tests/accounts/twins.h"

namespace zafo::accounts_test {
namespace {

constexpr const char *kUntouched = "untouched";

class GetFirstDN : public ReadingTest {
  protected:
    int Run(const char *filter = "(cn=*)") {
        return ZAFOLDAPBrowserGetFirstDN(&host_, filter, dn_, sizeof dn_);
    }
    char dn_[1024] = "untouched";
};

TEST_F(GetFirstDN, AsksForAllAttributesBelowTheBase) {
    Run("(&(a=b)(c=*)(d=%s))");
    EXPECT_THAT(Commands(), ElementsAre(SearchWords(kBase, {"(&(a=b)(c=*)(d=%s))"})));
}

TEST_F(GetFirstDN, NoMatchLeavesTheBuffer) {
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(dn_, kUntouched);
    ExpectSlotsUntouched();
}

TEST_F(GetFirstDN, OneMatchGivesItsDN) {
    Answer("dn: uid=ann,dc=x\nuid: ann\n\n");
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(dn_, "uid=ann,dc=x");
    ExpectSlotsUntouched();
}

TEST_F(GetFirstDN, OfSeveralMatchesTheLastStays) {
    Answer("dn: uid=ann,ou=b,dc=x\n\ndn: uid=ann,ou=a,dc=x\n\n");
    EXPECT_EQ(Run(), 2);
    EXPECT_STREQ(dn_, "uid=ann,ou=a,dc=x");
}

TEST_F(GetFirstDN, EntryWithoutDNIsNotCounted) {
    Answer("dn: dc=x\n\nuid: ann\n\n");
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(dn_, "dc=x");
}

TEST_F(GetFirstDN, BufferMayBeLeftOut) {
    Answer("dn: dc=x\n\ndn: dc=y\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(&host_, "(a=b)", nullptr, 1024), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(&host_, "(a=b)", dn_, 0), 2);
    EXPECT_STREQ(dn_, kUntouched);
}

TEST_F(GetFirstDN, DNIsCutToTheBuffer) {
    Answer("dn: dc=x\n\n");
    for (size_t size = 1; size <= 6; ++size) {
        std::string dn(8, '#');
        EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(&host_, "(a=b)", dn.data(), size), 1);
        EXPECT_EQ(dn.c_str(), std::string("dc=x").substr(0, size - 1));
        EXPECT_EQ(dn[size], '#') << "written past the buffer";
    }
}

// A DN from the server is used as text, never as a format string.
TEST_F(GetFirstDN, DNIsNotAFormat) {
    Answer("dn: uid=100%n%s,dc=x\n\n");
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(dn_, "uid=100%n%s,dc=x");
}

TEST_F(GetFirstDN, WithoutABaseDNTheToolIsGivenNone) {
    host_.szBaseDN = nullptr;
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Commands(), ElementsAre(ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H",
                                                    "ldap://server", "(cn=*)")));
}

class DNByName : public TwinTest {
  protected:
    int Run(const char *name) { return GetParam().dn_of(&host_, name, dn_, sizeof dn_); }
    char dn_[64] = "untouched";
};
INSTANTIATE_TEST_SUITE_P(Of, DNByName, testing::ValuesIn(kTwins), TwinName);

TEST_P(DNByName, AsksForClassAndName) {
    Run("ann");
    EXPECT_THAT(Commands(), ElementsAre(SearchWords(kBase, {Filter(GetParam().name_attr, "ann")})));
}

TEST_P(DNByName, NameStandsInTheFilterAsItIs) {
    Run("a*)(uid=\\2a%s");
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords(kBase, {Filter(GetParam().name_attr, "a*)(uid=\\2a%s")})));
}

TEST_P(DNByName, CountDistinguishesUniqueFromAmbiguousNames) {
    EXPECT_EQ(Run("ann"), 0);
    EXPECT_STREQ(dn_, kUntouched);
    Answer("dn: x=1\n\n");
    EXPECT_EQ(Run("ann"), 1);
    EXPECT_STREQ(dn_, "x=1");
    Answer("dn: x=1\n\ndn: x=2\n\n");
    EXPECT_EQ(Run("ann"), 2);
    EXPECT_STREQ(dn_, "x=2");
}

TEST_P(DNByName, FilterOfUpTo2047BytesIsUsed) {
    const size_t room = 2047 - Filter(GetParam().name_attr, "").size();
    const std::string longest(room, 'n');
    EXPECT_EQ(Run(longest.c_str()), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords(kBase, {Filter(GetParam().name_attr, longest)})));

    EXPECT_EQ(Run((longest + "n").c_str()), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(tools_.Calls().size(), 1u) << "nothing is asked with a filter that was cut";
}

class DNByUserUIDEx : public ReadingTest {
  protected:
    Texts FilterFor(const ZAFOLDAP_BROWSER_OPTIONS *options) {
        tools_.Reset();
        EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUIDEx(&host_, "ann", nullptr, 0, options), 0);
        const auto commands = Commands();
        return {commands.at(0).begin() + 7, commands.at(0).end()};
    }
};

TEST_F(DNByUserUIDEx, OptionsReplaceClassAndNameOneByOne) {
    const ZAFOLDAP_BROWSER_OPTIONS none{}, filter{"objectClass=person", nullptr},
        name{nullptr, "cn"}, both{"objectClass=person", "cn"};
    EXPECT_THAT(FilterFor(nullptr), ElementsAre("(&(objectClass=posixAccount)(uid=ann))"));
    EXPECT_THAT(FilterFor(&none), ElementsAre("(&(objectClass=posixAccount)(uid=ann))"));
    EXPECT_THAT(FilterFor(&filter), ElementsAre("(&(objectClass=person)(uid=ann))"));
    EXPECT_THAT(FilterFor(&name), ElementsAre("(&(objectClass=posixAccount)(cn=ann))"));
    EXPECT_THAT(FilterFor(&both), ElementsAre("(&(objectClass=person)(cn=ann))"));
}

class NameByDN : public TwinTest {
  protected:
    int Run(const char *dn = "x=1,dc=x", size_t size = 64) {
        return GetParam().name_of(&host_, dn, name_, size);
    }
    char name_[64] = "untouched";
};
INSTANTIATE_TEST_SUITE_P(Of, NameByDN, testing::ValuesIn(kTwins), TwinName);

TEST_P(NameByDN, AsksForTheNameAtTheWholeDN) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords("x=1,dc=x", {GetParam().filter, GetParam().name_attr})));
    EXPECT_STREQ(name_, "");
    ExpectSlotsUntouched();
}

TEST_P(NameByDN, GivesTheNameCutToTheBuffer) {
    Answer(Entry("x=1,dc=x", {"anna"}));
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(name_, "anna");
    EXPECT_EQ(Run("x=1,dc=x", 4), 1);
    EXPECT_STREQ(name_, "ann");
}

TEST_P(NameByDN, EntryWithoutANameIsNotFound) {
    Answer(Entry("x=1,dc=x", {}));
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(name_, "");
}

TEST_P(NameByDN, SeveralNamesAreAFailure) {
    Answer(Entry("x=1,dc=x", {"ann", "anna"}));
    EXPECT_EQ(Run(), -1);
    ExpectSlotsUntouched();
}

TEST_P(NameByDN, ArgumentsAreChecked) {
    EXPECT_EQ(GetParam().name_of(nullptr, "dc=x", name_, 64), -1);
    EXPECT_EQ(Run(nullptr), -1);
    EXPECT_EQ(Run("dc=x", 0), -1);
    EXPECT_EQ(GetParam().name_of(&host_, "dc=x", nullptr, 64), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(log_.Messages().size(), 4u);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test
