// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::deletion_test {

class Deletion : public AccountsTest {
  protected:
    static std::string Removal(const std::string &dn) {
        return "dn: " + dn + "\nchangetype: delete\n";
    }
    static std::string LeavesGroup(const std::string &group, const std::string &name) {
        return "dn: " + group + "\nchangetype: modify\ndelete: memberUid\nmemberUid: " + name +
               "\n-\ndelete: member\nmember: uid=" + name + ",cn=users," + kBase + "\n\n";
    }
    static std::string Group(const std::string &name) {
        return Entry("cn=" + name + ",cn=groups," + kBase, {{"cn", name}});
    }
};
ZAFO_FOREIGN_SUITE(Deletion);

TEST_P(Deletion, OfADnIsOneChange) {
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=old,dc=x"), 0);
    EXPECT_EQ(Changes(), Strings{Removal("ou=old,dc=x")});
    EXPECT_EQ(Tools(), Strings{"ldapmodify"});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(Deletion, ChangeFileIsForTheOwnerOnlyAndGoneAfterwards) {
    std::string path;
    platform().On("ldapmodify").Does([&](const Run &run) { path = run.argv[6]; });
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=old,dc=x"), 0);
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(FileText(path), std::nullopt);
}

TEST_P(Deletion, TakesTheDnAsTheFormat) {
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=100%% old,dc=x"), 0);
    EXPECT_EQ(Changes(), Strings{Removal("ou=100% old,dc=x")});
}

TEST_P(Deletion, ThatTheServerRefusesIsLogged) {
    platform().On("ldapmodify").Exits(66);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=old,dc=x"), -1);
    EXPECT_EQ(LibraryError(), 66);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPModify [ou=old,dc=x] failed. [0x7777]"});
    ExpectAllClosed();
}

TEST_P(Deletion, ThatIsKilledKeepsTheLibrarysError) {
    platform().On("ldapmodify").Dies(9);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=old,dc=x"), -1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), (Strings{"ldapmodify terminate abnormal 9",
                              "ZAFOLDAPModify [ou=old,dc=x] failed. [0x7777]"}));
}

TEST_P(Deletion, ThatCannotBeStartedIsLogged) {
    platform().On("ldapmodify").CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "ou=old,dc=x"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Log(),
              (Strings{"Execute [] failed!", "ZAFOLDAPModify [ou=old,dc=x] failed. [0x0900]"}));
}

TEST_P(Deletion, OfADnChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPBrowserDeleteDN(nullptr, nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserDeleteDN(nowhere, nullptr); });
    ExpectArgumentFailure("((void *)0) != szDN",
                          [&] { return ZAFOLDAPBrowserDeleteDN(host, nullptr); });
}

TEST_P(Deletion, OfAUserLooksUpDeletesAndCleansUp) {
    Finds(Entry(kAnn, {}));
    Finds(Group("staff"));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), 0);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify", "ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{Below(And(kUsers, "uid=ann")),
                                    Below(And(kGroups, "memberUid=ann"), {"dn", "cn"})}));
    EXPECT_EQ(Changes(), (Strings{Removal(kAnn), LeavesGroup(kStaff, "ann")}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(Deletion, OfAUserTakesItOutOfEveryGroupInOneChange) {
    Finds(Entry(kAnn, {}));
    Finds(Group("a") + Group("b") + Group("c"));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), 0);
    std::string all;
    for (const char *name : {"a", "b", "c"})
        all += LeavesGroup("cn=" + std::string(name) + ",cn=groups," + kBase, "ann");
    EXPECT_EQ(Changes(), (Strings{Removal(kAnn), all}));
}

TEST_P(Deletion, OfAUserElsewhereNamesTheMemberBelowTheUsers) {
    Finds(Entry("cn=Ann A,ou=people,dc=x,dc=example", {}));
    Finds(Group("staff"));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), 0);
    EXPECT_EQ(Changes(),
              (Strings{Removal("cn=Ann A,ou=people,dc=x,dc=example"), LeavesGroup(kStaff, "ann")}));
}

TEST_P(Deletion, OfAUserInNoGroupIsOneChange) {
    Finds(Entry(kAnn, {}));
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), 0);
    EXPECT_EQ(Changes(), Strings{Removal(kAnn)});
}

TEST_P(Deletion, OfAUserWithADnOf1023BytesWorks) {
    const std::string dn = "uid=" + std::string(1023 - 4 - 4, 'a') + ",c=o";
    Finds(Entry(dn, {}));
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), 0);
    EXPECT_EQ(Changes(), Strings{Removal(dn)});
}

TEST_P(Deletion, OfAMissingUserSaysSo) {
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(PlatformError(), 0x1D00);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(Deletion, OfAnAmbiguousUserDeletesNothing) {
    Finds(Entry(kAnn, {}) + Entry("uid=ann,ou=people,dc=x,dc=example", {}));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(Log(), Strings{"delete user failed. user name is ambiguous: ann"});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    ExpectSlotsUntouched();
}

TEST_P(Deletion, OfAUserThatCannotBeLookedUpDeletesNothing) {
    SearchFails(49);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Log(), Strings{kGetNextFailed + ", ldap_invalid_credentials (49)"});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(Deletion, OfAUserThatTheServerRefusesLeavesTheGroups) {
    Finds(Entry(kAnn, {}));
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), (Strings{"ZAFOLDAPModify [" + kAnn + "] failed. [0x7777]",
                              "Delete user [" + kAnn + "] failed."}));
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify"}));
}

TEST_P(Deletion, OfAUserFailsWhenTheGroupsCannotBeChanged) {
    Finds(Entry(kAnn, {}));
    Finds(Group("staff"));
    platform().On("ldapmodify").Exits(0).Then().Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), (Strings{"ZAFOLDAPModify failed [ann] [0x7777]",
                              "ZAFOLDAPBrowserGroupEditByUserUID failed. [ann] [0x7777]"}));
}

TEST_P(Deletion, OfAUserFailsWhenTheGroupsCannotBeListed) {
    Finds(Entry(kAnn, {}));
    Finds(Group("staff")).Exits(51);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(LibraryError(), 51);
    const Strings log = Log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front(), kGetNextFailed);
    EXPECT_EQ(log.back(), "ZAFOLDAPBrowserGroupEditByUserUID failed. [ann] [0x7777]");
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify", "ldapsearch"}));
}

TEST_P(Deletion, OfAUserWithoutALoginSuffixFailsAfterTheEntry) {
    host.login_suffix.reset();
    Finds(Entry(kAnn, {}));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host, "ann"), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Changes(), Strings{Removal(kAnn)});
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], "ZAFOLDAPBrowserGroupEditByUserUID failed. [ann] [0x0D00]");
}

TEST_P(Deletion, OfAGroupTouchesNothingElse) {
    Finds(Entry(kStaff, {}));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{Below(And(kGroups, "cn=staff"))});
    EXPECT_EQ(Changes(), Strings{Removal(kStaff)});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Deletion, OfAGroupNeedsNoLoginSuffix) {
    host.login_suffix.reset();
    Finds(Entry(kStaff, {}));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), 0);
}

TEST_P(Deletion, OfAMissingGroupSaysSo) {
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), -1);
    EXPECT_EQ(PlatformError(), 0x1800);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(Deletion, OfAnAmbiguousGroupDeletesNothing) {
    Finds(Entry(kStaff, {}) + Entry("cn=staff,ou=other,dc=x,dc=example", {}));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), -1);
    EXPECT_EQ(Log(), Strings{"delete group failed, group name is ambiguous: staff"});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    ExpectSlotsUntouched();
}

TEST_P(Deletion, OfAGroupThatCannotBeLookedUpDeletesNothing) {
    SearchFails(32);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(Deletion, OfAGroupThatTheServerRefusesIsLogged) {
    Finds(Entry(kStaff, {}));
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host, "staff"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPModify [" + kStaff + "] failed. [0x7777]"});
}

TEST_P(Deletion, ByNameChecksItsArguments) {
    Host nowhere;
    nowhere.uri.reset();
    for (auto *remove : {ZAFOLDAPBrowserDeleteUser, ZAFOLDAPBrowserDeleteGroup}) {
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return remove(nullptr, nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return remove(nowhere, nullptr); });
        ExpectArgumentFailureOn("", [&] { return remove(host, nullptr); });
    }
}

TEST_P(Deletion, KeepsNothingWhenAListCannotBeFilled) {
    platform().On("ldapsearch", "uid=ann").Prints(Entry(kAnn, {})).Always();
    platform().On("ldapsearch", "memberUid=ann").Prints(Group("staff")).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return ZAFOLDAPBrowserDeleteUser(host, "ann"); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

}  // namespace zafo::foreign::deletion_test
