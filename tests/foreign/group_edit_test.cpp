// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::group_edit_test {

class GroupEdit : public AccountsTest {
  protected:
    // Scripts the existing group: "staff", number 100.
    Tool &Is(const std::string &description = {}) {
        std::vector<std::pair<std::string, std::string>> attributes{
            {"cn", "staff"}, {"gidNumber", "100"}, {"memberUid", "ann"}};
        if (!description.empty()) attributes.emplace_back("description", description);
        return Finds(Entry(kStaff, attributes));
    }
    int Edit(const char *name, const char *text, const unsigned *gid) {
        return ZAFOLDAPBrowserGroupEdit(host, kStaff.c_str(), name, text, gid);
    }
    static Strings Reading() { return At(kStaff, kGroups); }
    static std::string Record(const Strings &lines) {
        return "dn: " + kStaff + "\nchangetype: modify\n" + Joined(lines);
    }
    static std::string Renaming(const std::string &name) {
        return "dn: " + kStaff + "\nchangetype: modrdn\nnewrdn: cn=" + name + "\ndeleteoldrdn: 1\n";
    }
    static std::string ModifyFailed(const std::string &code = "0x7777") {
        return "ZAFOLDAPModify failed [" + kStaff + "] [" + code + "]";
    }
};
ZAFO_FOREIGN_SUITE(GroupEdit);

TEST_P(GroupEdit, ReplacesTheDescription) {
    Is("old");
    EXPECT_EQ(Edit(nullptr, "new text", nullptr), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{Reading()});
    EXPECT_EQ(Changes(), Strings{Record({"replace: description", "description: new text"})});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(GroupEdit, GivesADescriptionToAGroupWithout) {
    Is();
    EXPECT_EQ(Edit(nullptr, "new text", nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: description", "description: new text"})});
}

TEST_P(GroupEdit, AnEmptyDescriptionRemovesIt) {
    Is("old");
    EXPECT_EQ(Edit(nullptr, "", nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record({"delete: description"})});
}

TEST_P(GroupEdit, DescriptionsAreComparedByBytes) {
    Is("old");
    EXPECT_EQ(Edit(nullptr, "Old", nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: description", "description: Old"})});
}

TEST_P(GroupEdit, CurrentValuesChangeNothingAndSucceed) {
    const unsigned gid = 100;
    struct {
        const char *name;
        const char *text;
        const unsigned *gid;
        const char *current;
    } const rows[] = {{"staff", nullptr, nullptr, ""}, {nullptr, "text", nullptr, "text"},
                      {nullptr, "", nullptr, ""},      {nullptr, nullptr, &gid, ""},
                      {"staff", "text", &gid, "text"}, {"STAFF", nullptr, nullptr, ""}};
    for (const auto &row : rows) {
        platform().Forget();
        Is(row.current);
        EXPECT_EQ(Edit(row.name, row.text, row.gid), 0);
        EXPECT_EQ(Tools(), Strings{"ldapsearch"});
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(GroupEdit, AnEqualDescriptionOf1023BytesIsNotWrittenAgain) {
    const std::string text(1023, 't');
    Is(text);
    EXPECT_EQ(Edit(nullptr, text.c_str(), nullptr), 0);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(GroupEdit, WritesALongDescriptionWhole) {
    const std::string text(5000, 't');
    Is("old");
    EXPECT_EQ(Edit(nullptr, text.c_str(), nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: description", "description: " + text})});
}

TEST_P(GroupEdit, ReplacesTheNumberThatIsFree) {
    const unsigned gid = 4294967294u;
    Is();
    FindsNothing();
    EXPECT_EQ(Edit(nullptr, nullptr, &gid), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{
                              Reading(), Below(And(kGroups, "gidNumber=4294967294"), {"dn"})}));
    EXPECT_EQ(Changes(), Strings{Record({"replace: gidNumber", "gidNumber: 4294967294"})});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
}

TEST_P(GroupEdit, GivesANumberToAGroupWithout) {
    const unsigned gid = 7;
    Finds(Entry(kStaff, {{"cn", "staff"}}));
    FindsNothing();
    EXPECT_EQ(Edit(nullptr, nullptr, &gid), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: gidNumber", "gidNumber: 7"})});
    TakeLog();
}

TEST_P(GroupEdit, RenamesWithoutTouchingTheEntry) {
    Is();
    FindsNothing();
    EXPECT_EQ(Edit("crew", nullptr, nullptr), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{Reading(), Below(And(kGroups, "cn=crew"))}));
    EXPECT_EQ(Changes(), Strings{Renaming("crew")});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
}

TEST_P(GroupEdit, SeparatesTheNumberFromTheDescription) {
    const unsigned gid = 7;
    Is("old");
    EXPECT_EQ(Edit(nullptr, "new", &gid), 0);
    Is("old");
    EXPECT_EQ(Edit(nullptr, "", &gid), 0);
    EXPECT_EQ(
        Changes(),
        (Strings{Record({"replace: description", "description: new", "-", "replace: gidNumber",
                         "gidNumber: 7"}),
                 Record({"delete: description", "-", "replace: gidNumber", "gidNumber: 7"})}));
}

TEST_P(GroupEdit, RenamesAfterTheOtherChangesInOneFile) {
    const unsigned gid = 7;
    Is("old");
    EXPECT_EQ(Edit("crew", "new", &gid), 0);
    Is("old");
    EXPECT_EQ(Edit("crew", nullptr, &gid), 0);
    Is("old");
    EXPECT_EQ(Edit("crew", "", nullptr), 0);
    EXPECT_EQ(Changes(),
              (Strings{Record({"replace: description", "description: new", "-",
                               "replace: gidNumber", "gidNumber: 7"}) +
                           "\n" + Renaming("crew"),
                       Record({"replace: gidNumber", "gidNumber: 7"}) + "\n" + Renaming("crew"),
                       Record({"delete: description"}) + "\n" + Renaming("crew")}));
}

TEST_P(GroupEdit, ANameThatIsTakenChangesNothing) {
    const unsigned gid = 7;
    Is();
    Finds(Entry("cn=crew,ou=other,dc=x", {}));
    EXPECT_EQ(Edit("crew", "new", &gid), -1);
    EXPECT_EQ(Log(), Strings{"group crew exists in db."});
    EXPECT_EQ(LibraryError(), -65539);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(GroupEdit, ANameThatCannotBeLookedUpCountsAsTaken) {
    Is();
    SearchFails(51);
    EXPECT_EQ(Edit("crew", nullptr, nullptr), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed + ",  (51)", "group crew exists in db."}));
    EXPECT_EQ(LibraryError(), -65539);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(GroupEdit, ANumberThatIsTakenChangesNothing) {
    const unsigned gid = 4294967294u;
    Is("old");
    Finds(Entry("cn=crew,ou=other,dc=x", {}));
    EXPECT_EQ(Edit(nullptr, "new", &gid), -1);
    EXPECT_EQ(Log(), Strings{"gid number 4294967294 exists in db."});
    EXPECT_EQ(LibraryError(), -65541);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(GroupEdit, ANumberThatCannotBeLookedUpCountsAsTaken) {
    const unsigned gid = 7;
    Is();
    SearchFails(51);
    EXPECT_EQ(Edit(nullptr, nullptr, &gid), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "gid number 7 exists in db."}));
    EXPECT_EQ(LibraryError(), -65541);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(GroupEdit, TheNameIsCheckedBeforeTheNumber) {
    const unsigned gid = 7;
    Is();
    Finds(Entry("cn=crew,dc=x", {}));
    EXPECT_EQ(Edit("crew", nullptr, &gid), -1);
    EXPECT_EQ(LibraryError(), -65539);
    EXPECT_EQ(Searches(), (std::vector<Strings>{Reading(), Below(And(kGroups, "cn=crew"))}));
}

TEST_P(GroupEdit, AsksThePlatformWhetherTheNameDiffers) {
    Is();
    platform().Returns("QLIBCUnicodeUTF8StrCaseCmp", 0);
    EXPECT_EQ(Edit("crew", nullptr, nullptr), 0);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    Is();
    platform().Returns("QLIBCUnicodeUTF8StrCaseCmp", -5);
    EXPECT_EQ(Edit("staff", nullptr, nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Renaming("staff")});
}

TEST_P(GroupEdit, AMissingGroupFails) {
    FindsNothing();
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    EXPECT_EQ(Log(), Strings{"get group " + kStaff + " failed. "});
    ExpectSlotsUntouched();
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupEdit, AGroupThatCannotBeReadFails) {
    SearchFails(32);
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "get group " + kStaff + " failed. "}));
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupEdit, NeedsTheLoginSuffixForReading) {
    host.login_suffix.reset();
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Tools(), Strings{});
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], "get group " + kStaff + " failed. ");
}

TEST_P(GroupEdit, FailsWithTheTool) {
    Is("old");
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), Strings{ModifyFailed()});
}

TEST_P(GroupEdit, FailsWhenTheToolCannotBeStarted) {
    Is("old");
    platform().On("ldapmodify").CannotStart(0);
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Log(), (Strings{"Execute [] failed!", ModifyFailed("0x0900")}));
}

TEST_P(GroupEdit, FailsWithoutARecord) {
    Is("old");
    platform().Fail("ZAFOGroupAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Edit(nullptr, "new", nullptr), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], "get group " + kStaff + " failed. ");
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupEdit, KeepsNothingWhenAListCannotBeFilled) {
    const unsigned gid = 7;
    platform()
        .On("ldapsearch", [](const Strings &argv) { return argv.back() == kGroups; })
        .Prints(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "100"}, {"description", "old"}}))
        .Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return Edit("crew", "new", &gid); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(GroupEdit, ChecksItsArgumentsInOrder) {
    ExpectHostChecked("szBaseDN", &Host::base, [](ZAFOLDAP_HOST *record) {
        return ZAFOLDAPBrowserGroupEdit(record, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailureOn("szGroupDN", [&] {
        return ZAFOLDAPBrowserGroupEdit(host, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("szNewGroupCN || szDesc || pGid",
                          [&] { return Edit(nullptr, nullptr, nullptr); });
}

}  // namespace zafo::foreign::group_edit_test
