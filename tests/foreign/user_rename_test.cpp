// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/user_edit.h"

namespace zafo::foreign::user_rename_test {

class UserRename : public UserEdit {
  protected:
    // Renames the user at `dn`; the new name is free and the user is in no group.
    int Rename(const std::string &dn, const std::string &name = "anna") {
        IsAt(dn, {{"uid", "ann"}, {"cn", "Ann"}});
        change_.szName = Set(name);
        return EditAt(dn);
    }
    static Strings Replace(const std::string &attribute, const std::string &value) {
        return {"replace: " + attribute, attribute + ": " + value};
    }
    static std::string Group(const std::string &name) {
        return Entry("cn=" + name + ",cn=groups," + kBase, {{"cn", name}});
    }
    static std::string Follows(const std::string &group) {
        return "dn: cn=" + group + ",cn=groups," + kBase +
               "\nchangetype: modify\ndelete: memberUid\nmemberUid: ann\n-\ndelete: "
               "member\nmember: "
               "uid=ann,cn=users," +
               kBase +
               "\n-\nadd: memberUid\nmemberUid: anna\n-\nadd: member\nmember: "
               "uid=anna,cn=users," +
               kBase + "\n\n";
    }
    // The DN whose password was set last.
    std::string PasswordDn() {
        const std::vector<Run> runs = platform().RunsOf("ldappasswd");
        return runs.empty() ? "" : runs.back().argv.back();
    }
    void SetsPassword() {
        change_.szPasswd = Set("new");
        platform().On("slappasswd").Prints("{CRYPT}$1$ab$c\n");
    }
};
ZAFO_FOREIGN_SUITE(UserRename);

TEST_P(UserRename, LooksUpTheNewNameThenTheGroupsOfTheOld) {
    EXPECT_EQ(Rename(kAnn), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{At(kAnn, kUsers), At(kAnn, kUsers, {"objectClass"}),
                                    Below(And(kUsers, "uid=anna")),
                                    Below(And(kGroups, "memberUid=ann"), {"dn", "cn"})}));
    EXPECT_EQ(Tools(),
              (Strings{"ldapsearch", "ldapsearch", "ldapsearch", "ldapmodify", "ldapsearch"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(UserRename, ChangesTheAttributeThatDoesNotNameTheEntry) {
    struct {
        std::string dn;
        Strings changes;
        std::string rdn;
    } const rows[] = {
        {"uid=ann,cn=users,dc=x", Replace("cn", "anna"), "uid=anna"},
        {"cn=Ann,cn=users,dc=x", Replace("uid", "anna"), "cn=anna"},
        {"UID=ann,cn=users,dc=x", Replace("cn", "anna"), "UID=anna"},
        {"CN=Ann,cn=users,dc=x", Replace("uid", "anna"), "CN=anna"},
        {"mail=a@x,cn=users,dc=x", With(With(Replace("uid", "anna"), {"-"}), Replace("cn", "anna")),
         "mail=anna"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.dn);
        platform().Forget();
        EXPECT_EQ(Rename(row.dn), 0);
        EXPECT_EQ(Changes(),
                  Strings{Record(row.changes, row.dn) + "\n" + Renaming(row.rdn, row.dn)});
    }
}

TEST_P(UserRename, AsksThePlatformForTheFirstRdn) {
    EXPECT_EQ(Rename(kAnn), 0);
    const std::vector<Call> calls = platform().CallsOf("ZAFOLDAPRDNExtract");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments, (Strings{kAnn, "1", "1024"}));
    const std::vector<Call> pairs = platform().CallsOf("ZAFOLDAPRDNPairExtract");
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].arguments[0], "uid=ann");
}

TEST_P(UserRename, ComesAfterTheOtherChanges) {
    const int flag = 1;
    const long expire = 7;
    IsAt(kAnn, {{"uid", "ann"}}, {"shadowAccount"});
    change_.szName = Set("anna");
    change_.pw_uid = 5;
    change_.pw_shell = Set("/s");
    EXPECT_EQ(Edit(&flag, &expire), 0);
    EXPECT_EQ(Changes(),
              Strings{Record({"replace: uidNumber", "uidNumber: 5", "-", "replace: loginShell",
                              "loginShell: /s", "-", "replace: shadowMin", "shadowMin: 100000", "-",
                              "replace: shadowExpire", "shadowExpire: 7", "-", "replace: cn",
                              "cn: anna"}) +
                      "\n" + Renaming("uid=anna")});
}

TEST_P(UserRename, ChangesOfCaseAreIgnored) {
    for (const char *name : {"ann", "ANN", "Ann"}) {
        platform().Forget();
        EXPECT_EQ(Rename(kAnn, name), 0);
        EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"})) << name;
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(UserRename, ChangesOfCaseLeaveTheOtherChanges) {
    IsAt(kAnn, {{"uid", "ann"}});
    change_.szName = Set("ANN");
    change_.pw_shell = Set("/s");
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: loginShell", "loginShell: /s"})});
}

TEST_P(UserRename, AsksThePlatformWhetherTheNameDiffers) {
    platform().Returns("QLIBCUnicodeUTF8StrCaseCmp", 0);
    EXPECT_EQ(Rename(kAnn), 0);
    EXPECT_EQ(Changes(), Strings{});
    platform().Returns("QLIBCUnicodeUTF8StrCaseCmp", -3);
    EXPECT_EQ(Rename(kAnn), 0);
    EXPECT_EQ(Changes().size(), 1u);
}

TEST_P(UserRename, ToATakenNameChangesNothing) {
    IsAt(kAnn, {{"uid", "ann"}});
    Finds(Entry("uid=anna,ou=other,dc=x", {}));
    change_.szName = Set("anna");
    change_.pw_uid = 7;
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), Strings{"user anna exists in db."});
    EXPECT_EQ(LibraryError(), -65538);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapsearch"}));
}

TEST_P(UserRename, ToANameThatCannotBeLookedUpChangesNothing) {
    IsAt(kAnn, {{"uid", "ann"}});
    SearchFails(51);
    change_.szName = Set("anna");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed + ",  (51)", "user anna exists in db."}));
    EXPECT_EQ(LibraryError(), -65538);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserRename, IsFollowedInEveryGroupByOneChange) {
    platform().On("ldapsearch", "memberUid=ann").Prints(Group("staff") + Group("crew"));
    EXPECT_EQ(Rename(kAnn), 0);
    const Strings changes = Changes();
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1], Follows("staff") + Follows("crew"));
}

TEST_P(UserRename, FailsAfterTheEntryWhenTheGroupsCannotBeChanged) {
    platform().On("ldapsearch", "memberUid=ann").Prints(Group("staff"));
    platform().On("ldapmodify").Exits(0).Then().Exits(50);
    SetsPassword();
    EXPECT_EQ(Rename(kAnn), -1);
    EXPECT_EQ(LibraryError(), 50);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], "ZAFOLDAPModify failed [ann] [0x7777]");
    EXPECT_TRUE(log[1].starts_with("Edit group failed. [")) << log[1];
    EXPECT_TRUE(log[1].ends_with("]. [0x7777]")) << log[1];
    EXPECT_EQ(PasswordDn(), "");
}

TEST_P(UserRename, FailsAfterTheEntryWhenTheGroupsCannotBeListed) {
    platform().On("ldapsearch", "memberUid=ann").Exits(51);
    EXPECT_EQ(Rename(kAnn), -1);
    const Strings log = Log();
    ASSERT_FALSE(log.empty());
    EXPECT_TRUE(log.back().starts_with("Edit group failed. [")) << log.back();
}

TEST_P(UserRename, ThatTheServerRefusesTouchesNoGroup) {
    platform().On("ldapmodify").Exits(50);
    SetsPassword();
    EXPECT_EQ(Rename(kAnn), -1);
    EXPECT_EQ(Tools(),
              (Strings{"ldapsearch", "ldapsearch", "ldapsearch", "slappasswd", "ldapmodify"}));
}

TEST_P(UserRename, SetsThePasswordAtTheNewDn) {
    SetsPassword();
    EXPECT_EQ(Rename(kAnn), 0);
    EXPECT_EQ(PasswordDn(), "uid=anna,cn=users,dc=x,dc=example");
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapsearch", "slappasswd",
                                "ldapmodify", "ldapsearch", "ldappasswd"}));
}

TEST_P(UserRename, NewDnHasTheParentAsItIsWritten) {
    struct {
        const char *dn;
        const char *expected;
    } const rows[] = {
        {"uid=ann,dc=x", "uid=anna,dc=x"},
        {"cn=Ann A,ou=b+l=c,dc=x", "cn=anna,ou=b+l=c,dc=x"},
        {"uid=ann", "uid=anna"},
        {"uid=ann\\, a,cn=users,dc=x", "uid=anna,cn=users,dc=x"},
        {"uid=\"ann, a\",cn=users,dc=x", "uid=anna,cn=users,dc=x"},
        {"uid=ann, cn=users, dc=x", "uid=anna, cn=users, dc=x"},
        {"UID=ann,CN=Users,DC=X", "UID=anna,CN=Users,DC=X"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.dn);
        SetsPassword();
        EXPECT_EQ(Rename(row.dn), 0);
        EXPECT_EQ(PasswordDn(), row.expected);
    }
}

// On platforms whose helpers normalise an RDN: they omit blanks that the DN has.
class UserRenameNormalised : public UserRename {};
std::vector<Temperament> Normalising() {
    std::vector<Temperament> all;
    for (const Temperament &temperament : kTemperaments)
        if (temperament.normalises) all.push_back(temperament);
    return all;
}
INSTANTIATE_TEST_SUITE_P(Foreign, UserRenameNormalised, testing::ValuesIn(Normalising()),
                         TemperamentName);

TEST_P(UserRenameNormalised, TakesTheParentOfADnThatTheHelperNormalises) {
    const std::string dn = "uid = ann , cn = users,dc=x";
    SetsPassword();
    EXPECT_EQ(Rename(dn), 0);
    EXPECT_EQ(PasswordDn(), "uid=anna, cn = users,dc=x");
    EXPECT_EQ(Changes(),
              Strings{Record(Replace("cn", "anna"), dn) + "\n" + Renaming("uid=anna", dn)});
}

TEST_P(UserRename, NewDnOf1023BytesWorks) {
    const std::string parent = ",ou=" + std::string(1023 - 8 - 4, 'p');
    SetsPassword();
    EXPECT_EQ(Rename("uid=ann" + parent), 0);
    EXPECT_EQ(PasswordDn(), "uid=anna" + parent);
}

TEST_P(UserRename, FailsWithoutTheRdn) {
    platform().Fail("ZAFOLDAPRDNExtract", 1, -1, 0x0F00);
    EXPECT_EQ(Rename(kAnn), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPRDNExtract [" + kAnn + "] failed. [0x0F00]"});
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserRename, FailsWithoutThePair) {
    platform().Fail("ZAFOLDAPRDNPairExtract", 1, -1, 0x0F00);
    EXPECT_EQ(Rename(kAnn), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(log[0].starts_with("ZAFOLDAPRDNPairExtract [")) << log[0];
    EXPECT_TRUE(log[0].ends_with("] failed. [0x0F00]")) << log[0];
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserRename, SurvivesHelpersThatFillTheirBuffers) {
    for (const char *function : {"ZAFOLDAPRDNExtract", "ZAFOLDAPRDNPairExtract"}) {
        SCOPED_TRACE(function);
        platform().Fills(function);
        EXPECT_EQ(Rename(kAnn), -1);
        EXPECT_EQ(Changes(), Strings{});
    }
}

TEST_P(UserRename, RefusesAnRdnThatLeavesNoRoomForTheDn) {
    platform().Fills("ZAFOLDAPRDNPairExtract");
    EXPECT_EQ(Rename(kAnn), -1);
    EXPECT_EQ(PlatformError(), 0x0E00);
    EXPECT_EQ(Changes(), Strings{});
}

class UserPassword : public UserEdit {
  protected:
    // Sets the password of user "ann", who has these classes, to "new".
    int SetPassword(const Strings &classes = {}) {
        Is({{"uid", "ann"}}, classes);
        change_.szPasswd = Set("new");
        return Edit();
    }
    Tool &Hashes() { return platform().On("slappasswd").Prints("{CRYPT}$1$ab$c\n"); }
};
ZAFO_FOREIGN_SUITE(UserPassword);

TEST_P(UserPassword, IsHashedForACheckAndSetByTheServer) {
    Hashes();
    EXPECT_EQ(SetPassword(), 0);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "slappasswd", "ldappasswd"}));
    const Run hash = platform().RunsOf("slappasswd").at(0);
    EXPECT_EQ(hash.path, "/usr/zafo/bin/slappasswd");
    EXPECT_EQ(hash.how, "QLIBCPopen r");
    EXPECT_EQ(hash.argv, (Strings{"-h", "{CRYPT}", "-s", "new", "-c", "$1$%.2s"}));
    const Run set = platform().RunsOf("ldappasswd").at(0);
    EXPECT_EQ(set.path, "/usr/zafo/bin/ldappasswd");
    EXPECT_EQ(set.how, "QLIBCExecv");
    EXPECT_EQ(set.bits, 1);
    EXPECT_EQ(set.argv, (Strings{"-x", "-H", "ldap://ldap.x.example", "-D", "cn=admin," + kBase,
                                 "-w", "secret", "-s", "new", kAnn}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(UserPassword, ThatIsEmptyIsAPasswordToo) {
    Hashes();
    Is();
    change_.szPasswd = Set("");
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(platform().RunsOf("slappasswd").at(0).argv[3], "");
    const Strings argv = platform().RunsOf("ldappasswd").at(0).argv;
    EXPECT_EQ(argv[argv.size() - 2], "");
}

TEST_P(UserPassword, ThatCannotBeHashedChangesNothing) {
    platform().On("slappasswd");
    change_.pw_shell = Set("/s");
    EXPECT_EQ(SetPassword(), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_TRUE(log[0].starts_with("Failed to read from popen (")) << log[0];
    EXPECT_EQ(log[1], "ZAFOLDAPEncryptPassword failed. [0x7777]");
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "slappasswd"}));
}

TEST_P(UserPassword, ThatCannotBeHashedWithoutAToolChangesNothing) {
    platform().On("slappasswd").CannotStart(0x0900);
    EXPECT_EQ(SetPassword(), -1);
    EXPECT_EQ(Log(),
              (Strings{"Popen failed [0x0900]", "ZAFOLDAPEncryptPassword failed. [0x0900]"}));
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserPassword, NumberIsCheckedBeforeItIsHashed) {
    platform().On("ldapsearch", "uidNumber=5").Prints(Entry("uid=bob,dc=x", {}));
    change_.pw_uid = 5;
    EXPECT_EQ(SetPassword(), -1);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapsearch"}));
}

TEST_P(UserPassword, ThatTheServerRefusesIsLogged) {
    Hashes();
    platform().On("ldappasswd").Exits(50);
    EXPECT_EQ(SetPassword(), -1);
    EXPECT_EQ(Log(), (Strings{"Failed to set password for " + kAnn + " (err=50)",
                              "ZAFOLDAPPasswd failed. [" + kAnn + "]"}));
    ExpectSlotsUntouched();
}

TEST_P(UserPassword, IsNotSetWhenTheChangeFails) {
    Hashes();
    platform().On("ldapmodify").Exits(50);
    change_.pw_shell = Set("/s");
    EXPECT_EQ(SetPassword(), -1);
    EXPECT_EQ(platform().RunsOf("ldappasswd").size(), 0u);
}

TEST_P(UserPassword, GivesSambaItsHashes) {
    const auto before = std::time(nullptr);
    Hashes();
    EXPECT_EQ(SetPassword({"sambaSamAccount"}), 0);
    const auto after = std::time(nullptr);
    const Strings changes = Changes();
    ASSERT_EQ(changes.size(), 1u);
    Strings possible;
    for (auto now = before; now <= after; ++now)
        possible.push_back(
            Record({"replace: sambaNTPassword", "sambaNTPassword: " + Platform::NtHash("new"), "-",
                    "replace: sambaLMPassword", "sambaLMPassword: XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX",
                    "-", "replace: sambaPwdLastSet", "sambaPwdLastSet: " + std::to_string(now)}));
    EXPECT_EQ(std::count(possible.begin(), possible.end(), changes[0]), 1) << changes[0];
    const std::vector<Call> calls = platform().CallsOf("QLIBSmbNtEncrypt");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments, (Strings{"new", "33"}));
}

TEST_P(UserPassword, GivesShadowTheDay) {
    const auto before = std::time(nullptr) / 86400;
    Hashes();
    EXPECT_EQ(SetPassword({"shadowAccount"}), 0);
    const auto after = std::time(nullptr) / 86400;
    const Strings changes = Changes();
    ASSERT_EQ(changes.size(), 1u);
    const auto record = [](std::time_t day) {
        return Record({"replace: shadowLastChange", "shadowLastChange: " + std::to_string(day)});
    };
    EXPECT_TRUE(changes[0] == record(before) || changes[0] == record(after)) << changes[0];
}

TEST_P(UserPassword, StandsBetweenMailAndAgeing) {
    const int flag = 1;
    Hashes();
    Is({{"uid", "ann"}}, {"inetOrgPerson", "sambaSamAccount", "shadowAccount"});
    change_.szMail = Set("m@x");
    change_.szPasswd = Set("new");
    EXPECT_EQ(Edit(&flag), 0);
    const std::string change = Changes().at(0);
    size_t place = 0;
    for (const char *line :
         {"replace: mail\n", "replace: sambaNTPassword\n", "replace: sambaLMPassword\n",
          "replace: sambaPwdLastSet\n", "replace: shadowLastChange\n", "replace: shadowMin\n"}) {
        const size_t next = change.find(line);
        ASSERT_NE(next, std::string::npos) << line;
        EXPECT_GE(next, place) << line;
        place = next;
    }
    EXPECT_EQ(change.find("userPassword"), std::string::npos);
}

TEST_P(UserPassword, SambaAndShadowNeedTheirClassesOnServerAndEntry) {
    struct {
        unsigned server;
        Strings entry;
    } const rows[] = {{~0x900u, {"sambaSamAccount", "shadowAccount"}},
                      {~0u, {}},
                      {0x100, {"sambaSamAccount"}},
                      {0x800, {"shadowAccount"}}};
    for (const auto &row : rows) {
        Hashes();
        host->nSchema = row.server;
        EXPECT_EQ(SetPassword(row.entry), 0);
    }
    EXPECT_EQ(Changes(), Strings{});
    EXPECT_EQ(platform().RunsOf("ldappasswd").size(), 4u);
}

TEST_P(UserPassword, SurvivesANtHashThatFillsItsBuffer) {
    Hashes().Always();
    platform().Fills("QLIBSmbNtEncrypt");
    EXPECT_EQ(SetPassword({"sambaSamAccount"}), 0);
    EXPECT_NE(Changes().at(0).find("\nsambaNTPassword: " + std::string(32, 'x') + "\n"),
              std::string::npos);
}

}  // namespace zafo::foreign::user_rename_test
