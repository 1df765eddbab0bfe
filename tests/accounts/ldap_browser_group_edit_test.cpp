// SPDX-License-Identifier: Apache-2.0
//
// Changing a group's name, description and number.
#include "platform/unicode.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test::group_edit {
namespace {

struct Request {
    Text name = {}, description = {};
    std::optional<unsigned> gid = {};
    std::string dn = kStaffDN;
};

const Request kAll{"crew", "The crew", 4294967294u};

std::string LdifOf(const Text &description, const std::string &name = "staff") {
    return "dn: " + kStaffDN + "\ncn: " + name + "\ngidNumber: 2001\n" +
           (description ? "description: " + *description + "\n" : "") + "\n";
}

const std::string kRead = SearchCommand(kStaffDN, "objectClass=posixGroup");
const std::string kNameSearch = SearchCommand(kBase, "(&(objectClass=posixGroup)(cn=crew))");
const std::string kNumberSearch =
    SearchCommand(kBase, "(&(objectClass=posixGroup)(gidNumber=4294967294)) dn");

const std::vector<Step> kSteps = {
    {"ldapsearch", LdifOf("All")}, {"ldapsearch"}, {"ldapsearch"}, {"ldapmodify"}};

class GroupEdit : public WritingTest {
  protected:
    int Edit(const Request &request) {
        return ZAFOLDAPBrowserGroupEdit(
            &host_, request.dn.c_str(), request.name ? request.name->c_str() : nullptr,
            request.description ? request.description->c_str() : nullptr,
            request.gid ? &*request.gid : nullptr);
    }

    // The change written by a successful edit; "" when none was run.
    std::string ChangeOf(const Request &request, const std::string &entry = LdifOf("All")) {
        Prepare({{"ldapsearch", entry}, {"ldapsearch"}});
        EXPECT_EQ(Edit(request), 0);
        EXPECT_THAT(log_.Messages(), IsEmpty());
        return Changes().empty() ? "" : LastChange();
    }
};

TEST_F(GroupEdit, RecordsAreTheseTexts) {
    const std::pair<const char *, Request> cases[] = {
        {"everything", kAll},
        {"description alone", {.description = "The crew"}},
        {"description taken away", {.description = ""}},
        {"number alone", {.gid = 0}},
        {"description taken away and number", {.description = "", .gid = 2002}},
        {"name alone", {.name = "crew"}},
        {"name and number", {.name = "crew", .gid = 2002}},
        {"name that a DN must escape, percent signs",
         {.name = "#50% + \"more\", %n", .description = "100%n%%"}},
        {"leading blanks", {.name = " crew", .description = "\tThe crew"}},
        {"nothing that differs", {.name = "STAFF", .description = "All", .gid = 2001}},
    };
    Golden golden("group_edit.ldif");
    for (const auto &[title, request] : cases) {
        SCOPED_TRACE(title);
        EXPECT_EQ(ChangeOf(request), golden.Take(title));
    }
    EXPECT_THAT(golden.Left(), IsEmpty());
}

TEST_F(GroupEdit, DescriptionIsComparedByBytesWithTheExistingOne) {
    const std::string head = "dn: " + kStaffDN + "\nchangetype: modify\n";
    const std::string replace = head + "replace: description\ndescription: All\n";
    const std::tuple<Text, Text, std::string> rows[] = {
        {"All", Text(), replace},
        {"All", "", replace},
        {"All", "all", replace},
        {"All", "All", ""},
        {"", Text(), ""},
        {"", "", ""},
        {"", "All", head + "delete: description\n"},
    };
    for (const auto &[wanted, current, expected] : rows) {
        SCOPED_TRACE(*wanted + "|" + current.value_or("NULL"));
        EXPECT_EQ(ChangeOf({.description = wanted}, LdifOf(current)), expected);
    }
}

TEST_F(GroupEdit, DescriptionThatMayHaveBeenCutCountsAsAnother) {
    const std::string whole(1023, 'd');
    EXPECT_EQ(ChangeOf({.description = whole}, LdifOf(whole)), "");
    for (const size_t length : {1024u, 1025u, 5000u}) {
        const std::string current(length, 'd');
        const std::string wanted = current.substr(0, 1024);
        EXPECT_EQ(ChangeOf({.description = wanted}, LdifOf(current)),
                  "dn: " + kStaffDN +
                      "\nchangetype: modify\nreplace: description\ndescription: " + wanted + "\n");
    }
}

TEST_F(GroupEdit, GroupWithoutNumberGetsAnyValidNumber) {
    for (const unsigned gid : {0u, 5u, GID_ERR}) {
        Prepare({{"ldapsearch", "dn: " + kStaffDN + "\ncn: staff\n\n"}, {"ldapsearch"}});
        EXPECT_EQ(Edit({.gid = gid}), 0);
        EXPECT_EQ(Changes().size(), gid == GID_ERR ? 0u : 1u);
    }
}

TEST_F(GroupEdit, NameThatDiffersInCaseOfAnyAlphabetIsIgnored) {
    if (QLIBCUnicodeUTF8StrCaseCmp("\xC3\x9C", "\xC3\xBC") != 0) {
        GTEST_SKIP() << "this build's platform folds only ASCII letters";
    }
    EXPECT_EQ(ChangeOf({.name = "\xC3\x9C"
                                "BER"},
                       LdifOf("All",
                              "\xC3\xBC"
                              "ber")),
              "");
    EXPECT_THAT(Commands(), ElementsAre(kRead));
}

TEST_F(GroupEdit, RunsTheseToolsInThisOrder) {
    Prepare(kSteps);
    EXPECT_EQ(Edit(kAll), 0);
    EXPECT_THAT(Commands(), ElementsAre(kRead, kNameSearch, kNumberSearch, ModifyCommand()));
}

TEST_F(GroupEdit, NameIsOnlyLookedUpWhenItChanges) {
    ChangeOf({.name = "Staff", .description = "x", .gid = 2001});
    EXPECT_THAT(Commands(), ElementsAre(kRead, ModifyCommand()));
}

TEST_F(GroupEdit, EveryFailingToolHasThisOutcome) {
    const std::string no_read = "ZAFOLDAPSearchGetNext get next failed";
    ExpectOutcomes(kSteps,
                   {
                       {-1, {}, 1, {no_read, "get group " + kStaffDN + " failed. "}},
                       {-1, -65539, 2, {no_read + ", $KEY ($CODE)", "group crew exists in db."}},
                       {-1, -65541, 3, {no_read, "gid number 4294967294 exists in db."}},
                       {-1, {}, 4, {"ZAFOLDAPModify failed [" + kStaffDN + "] [0x1234]"}},
                   },
                   [this] { return Edit(kAll); });
}

TEST_F(GroupEdit, MissingGroupIsLogged) {
    EXPECT_EQ(Edit(kAll), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get group " + kStaffDN + " failed. "));
    EXPECT_THAT(Commands(), ElementsAre(kRead));
    ExpectSlotsUntouched();
}

TEST_F(GroupEdit, NameThatIsTakenChangesNothing) {
    Prepare({kSteps[0], {"ldapsearch", "dn: cn=crew\n\n"}});
    EXPECT_EQ(Edit(kAll), -1);
    ExpectSlots(-65539, kStalePlatformCode);
    EXPECT_THAT(LoggedTexts(), ElementsAre("group crew exists in db."));
    EXPECT_THAT(Commands(), ElementsAre(kRead, kNameSearch));
}

TEST_F(GroupEdit, NumberThatIsTakenChangesNothing) {
    Prepare({kSteps[0], {"ldapsearch"}, {"ldapsearch", "dn: cn=others\n\n"}});
    EXPECT_EQ(Edit(kAll), -1);
    ExpectSlots(-65541, kStalePlatformCode);
    EXPECT_THAT(LoggedTexts(), ElementsAre("gid number 4294967294 exists in db."));
    EXPECT_THAT(Commands(), ElementsAre(kRead, kNameSearch, kNumberSearch));
}

TEST_F(GroupEdit, ChangeThatTheDiskCutsShortIsNotSent) {
    Prepare(kSteps);
    ExpectNothingSentFromAFullDisk(
        [this] { return Edit({.name = "crew", .description = kHugeText}); });
    EXPECT_THAT(Commands(), ElementsAre(kRead, kNameSearch));
}

TEST_F(GroupEdit, TextsThatBreakALineAreRefusedBeforeAnythingRuns) {
    for (const char *breaks : {"\n", "\r", "a\ngidNumber: 0", "a\r", "\na", "a\r\nb"}) {
        SCOPED_TRACE(testing::PrintToString(breaks));
        for (const Request &request : {Request{.name = breaks}, Request{.description = breaks},
                                       Request{.name = "crew", .dn = breaks}}) {
            EXPECT_EQ(Edit(request), -1);
            ExpectSlots(kStaleLdapCode, 0x0D00);
        }
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(GroupEdit, NeedsTheLoginSuffix) {
    host_.szLoginSuffix = nullptr;
    EXPECT_EQ(Edit(kAll), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test::group_edit
