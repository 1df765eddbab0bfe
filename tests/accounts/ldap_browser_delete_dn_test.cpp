// SPDX-License-Identifier: Apache-2.0
//
// Deleting entries by DN, users and groups by name.
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test {
namespace {

using testing::HasSubstr;

std::string Deletion(const std::string &dn_line) {
    return "dn:" + dn_line + "\nchangetype: delete\n";
}

std::string Entry(const std::string &dn) {
    return "dn: " + dn + "\n\n";
}

class DeleteDN : public WritingTest {};

TEST_F(DeleteDN, RunsOneToolWithTheseTwoLines) {
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(&host_, "cn=x,dc=a"), 0);
    EXPECT_THAT(Commands(), ElementsAre(ModifyCommand()));
    EXPECT_EQ(LastChange(), Deletion(" cn=x,dc=a"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(DeleteDN, TwoPercentSignsStandForOneAndOthersForThemselves) {
    const std::pair<const char *, const char *> cases[] = {
        {"cn=100%", " cn=100%"},   {"cn=100%%", " cn=100%"},
        {"cn=%n%s", " cn=%n%s"},   {"cn=%%n", " cn=%n"},
        {"cn=%%%", " cn=%%"},      {"cn=%%%%", " cn=%%"},
        {" cn=x", ": IGNuPXg="},   {"", " "},
        {"cn=a\\,b", " cn=a\\,b"}, {"cn=M\xC3\xBCller", " cn=M\xC3\xBCller"},
    };
    for (const auto &[dn, line] : cases) {
        EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(&host_, dn), 0);
        EXPECT_EQ(LastChange(), Deletion(line));
    }
}

TEST_F(DeleteDN, DNOfAnyLengthIsWrittenWhole) {
    const std::string dn(5000, 'x');
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(&host_, dn.c_str()), 0);
    EXPECT_EQ(LastChange(), Deletion(" " + dn));
}

TEST_F(DeleteDN, RefusalIsLogged) {
    ExpectOutcomes({{"ldapmodify"}}, {{-1, {}, 1, {"ZAFOLDAPModify [cn=%n] failed. [0x1234]"}}},
                   [this] { return ZAFOLDAPBrowserDeleteDN(&host_, "cn=%n"); });
}

TEST_F(DeleteDN, DNThatTheDiskCutsShortIsNotSent) {
    ExpectNothingSentFromAFullDisk(
        [this] { return ZAFOLDAPBrowserDeleteDN(&host_, kHugeText.c_str()); });
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(DeleteDN, DNThatBreaksALineIsRefused) {
    for (const char *dn : {"\n", "dc=a\nchangetype: add", "dc=a\r", "\rdc=a"}) {
        EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(&host_, dn), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

// Users and groups --------------------------------------------------------------------------

struct Kind {
    const char *name;
    int (*remove)(const ZAFOLDAP_HOST *, const char *);
    const char *filter;  // precedes the name
    const char *ambiguous;
    int not_found;
    std::vector<Step> after;  // tools that run after the entry has been deleted
    Texts refused;            // logged in addition to the refusal itself
};

void PrintTo(const Kind &kind, std::ostream *out) {
    *out << kind.name;
}

const std::string kFoundDN = "cn=%%n\\, x,ou=far,dc=example,dc=com";

const Kind kKinds[] = {
    {"User",
     ZAFOLDAPBrowserDeleteUser,
     "(&(objectClass=posixAccount)(uid=",
     "delete user failed. user name is ambiguous: anna",
     0x1D00,
     {{"ldapsearch"}},
     {"Delete user [" + kFoundDN + "] failed."}},
    {"Group",
     ZAFOLDAPBrowserDeleteGroup,
     "(&(objectClass=posixGroup)(cn=",
     "delete group failed, group name is ambiguous: anna",
     0x1800,
     {},
     {}},
};

class DeleteByName : public WritingTest, public testing::WithParamInterface<Kind> {
  protected:
    int Delete(const char *name = "anna") { return GetParam().remove(&host_, name); }
    std::string Search(const std::string &name = "anna") const {
        return SearchCommand(kBase, GetParam().filter + name + "))");
    }
};

TEST_P(DeleteByName, DeletesExactlyTheEntryThatWasFound) {
    Prepare({{"ldapsearch", Entry(kFoundDN)}, {"ldapsearch"}});
    EXPECT_EQ(Delete(), 0);
    EXPECT_EQ(Changes().at(0), Deletion(" " + kFoundDN));
    EXPECT_EQ(Commands().at(0), Search());
    EXPECT_EQ(Commands().at(1), ModifyCommand());
    EXPECT_EQ(Commands().size(), 2 + GetParam().after.size());
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_P(DeleteByName, FoundDNThatBeginsWithABlankIsWrittenInBase64) {
    Prepare({{"ldapsearch", "dn:: IGNuPXg=\n\n"}, {"ldapsearch"}});
    EXPECT_EQ(Delete(), 0);
    EXPECT_EQ(Changes().at(0), Deletion(": IGNuPXg="));
}

TEST_P(DeleteByName, UnknownNameSetsTheError) {
    EXPECT_EQ(Delete(), -1);
    ExpectSlots(kStaleLdapCode, GetParam().not_found);
    EXPECT_THAT(Commands(), ElementsAre(Search()));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_P(DeleteByName, AmbiguousNameIsLoggedAndDeletesNothing) {
    for (const int entries : {2, 3, 50}) {
        std::string found;
        for (int i = 0; i < entries; ++i)
            found += Entry("uid=anna,ou=" + std::to_string(i));
        Prepare({{"ldapsearch", found}});
        EXPECT_EQ(Delete(), -1);
        ExpectSlotsUntouched();
        EXPECT_THAT(Commands(), ElementsAre(Search()));
        EXPECT_THAT(LoggedTexts(), ElementsAre(GetParam().ambiguous));
    }
}

TEST_P(DeleteByName, FoundDNThatIsTooLongOrBreaksALineDeletesNothing) {
    const std::pair<std::string, int> cases[] = {
        {Entry(std::string(1023, 'x')), 0},
        {Entry(std::string(1024, 'x')), 0x0E00},
        {Entry(std::string(2000, 'x')), 0x0E00},
        {"dn:: Y249YQp4OiB5\n\n", 0x0F00},  // "cn=a\nx: y"
    };
    for (const auto &[answer, error] : cases) {
        Prepare({{"ldapsearch", answer}, {"ldapsearch"}});
        EXPECT_EQ(Delete(), error == 0 ? 0 : -1);
        ExpectSlots(kStaleLdapCode, error == 0 ? kStalePlatformCode : error);
        EXPECT_EQ(Changes().size(), error == 0 ? 1u : 0u);
    }
}

TEST_P(DeleteByName, NameGoesIntoTheFilterAsItIs) {
    for (const char *name : {"", "*", "a)(b=c", "100%n", "M\xC3\xBCller"}) {
        tools_.Reset();
        EXPECT_EQ(Delete(name), -1);
        EXPECT_THAT(Commands(), ElementsAre(Search(name)));
    }
}

TEST_P(DeleteByName, NameOfAFilterThatIsTooLongIsRefused) {
    EXPECT_EQ(Delete(std::string(2100, 'x').c_str()), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_P(DeleteByName, FailingSearchOrRefusalHasThisOutcome) {
    std::vector<Step> steps = {{"ldapsearch", Entry(kFoundDN)}, {"ldapmodify"}};
    std::vector<Outcome> outcomes = {
        {-1, {}, 1, {"ZAFOLDAPSearchGetNext get next failed, $KEY ($CODE)"}},
        {-1, {}, 2, {"ZAFOLDAPModify [" + kFoundDN + "] failed. [0x1234]"}}};
    for (const std::string &text : GetParam().refused)
        outcomes.back().logged.push_back(text);
    ExpectOutcomes(steps, outcomes, [this] { return Delete(); });
}

std::string NameOf(const testing::TestParamInfo<Kind> &kind) {
    return kind.param.name;
}

INSTANTIATE_TEST_SUITE_P(Each, DeleteByName, testing::ValuesIn(kKinds), NameOf);

class DeleteUser : public WritingTest {
  protected:
    static std::string Group(const std::string &name) {
        return "dn: cn=" + name + ",cn=groups,dc=example,dc=com\ncn: " + name + "\n\n";
    }

    const std::vector<Step> steps_ = {
        {"ldapsearch", Entry(kPersonDN)},
        {"ldapmodify"},
        {"ldapsearch", Group("a") + Group("b") + Group("c")},
        {"ldapmodify"},
    };
};

TEST_F(DeleteUser, TakesTheUserOutOfEveryGroupAfterwards) {
    Prepare(steps_);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(&host_, "anna.smith"), 0);
    ASSERT_EQ(Changes().size(), 2u);
    EXPECT_EQ(Changes().at(0), Deletion(" " + kPersonDN));
    for (const char *group : {"a", "b", "c"}) {
        EXPECT_THAT(Changes().at(1), HasSubstr("dn: cn=" + std::string(group) +
                                               ",cn=groups,dc=example,dc=com\n"
                                               "changetype: modify\n"
                                               "delete: memberUid\nmemberUid: anna.smith\n-\n"
                                               "delete: member\nmember: " +
                                               kPersonDN + "\n\n"));
    }
    EXPECT_THAT(Changes().at(1), testing::Not(HasSubstr("add:")));
}

TEST_F(DeleteUser, IsDeletedAlsoWhenTheGroupsFail) {
    const std::string failed = "ZAFOLDAPBrowserGroupEditByUserUID failed. [anna.smith] [0x1234]";
    ExpectOutcomes(steps_,
                   {
                       {-1, {}, 1, {"ZAFOLDAPSearchGetNext get next failed, $KEY ($CODE)"}},
                       {-1,
                        {},
                        2,
                        {"ZAFOLDAPModify [" + kPersonDN + "] failed. [0x1234]",
                         "Delete user [" + kPersonDN + "] failed."}},
                       {-1, {}, 3, {"ZAFOLDAPSearchGetNext get next failed", failed}},
                       {-1, {}, 4, {"ZAFOLDAPModify failed [anna.smith] [0x1234]", failed}},
                   },
                   [this] { return ZAFOLDAPBrowserDeleteUser(&host_, "anna.smith"); });
}

TEST_F(DeleteUser, NeedsTheLoginSuffixForTheGroups) {
    host_.szLoginSuffix = nullptr;
    Prepare(steps_);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(&host_, "anna.smith"), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(Changes().size(), 1u) << "the entry is gone by then";
}

TEST_F(DeleteUser, TextsThatBreakALineAreRefusedBeforeAnythingRuns) {
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(&host_, "a\nb"), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    SetStaleCodes();
    host_.szBaseDN = "dc=a\rb";
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(&host_, "anna"), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test
