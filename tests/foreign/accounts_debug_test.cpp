// SPDX-License-Identifier: Apache-2.0
//
// What account functions log while the debug switch is on.
#include "tests/foreign/accounts.h"

namespace zafo::foreign::accounts_debug_test {

class AccountsDebug : public AccountsTest {
  protected:
    void SetUp() override {
        AccountsTest::SetUp();
        ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1);
    }
    // The log without the lines that searches and changes write about their tools.
    Strings OwnLog() {
        Strings lines;
        for (const std::string &line : TakeLog())
            if (!line.starts_with("search command: ") && !line.starts_with("ldapsearch ") &&
                !line.starts_with("ldapmodify ") && !line.starts_with("/usr/zafo/bin/"))
                lines.push_back(line);
        return lines;
    }
};
ZAFO_FOREIGN_SUITE(AccountsDebug);

TEST_P(AccountsDebug, ServerTypeIsReported) {
    Finds(Entry("cn=zafoconf," + kBase, {}));
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(
        Log(),
        (Strings{
            "search command: /usr/zafo/bin/ldapsearch -LLL -x -H 'ldap://ldap.x.example' -D "
            "'cn=admin,dc=x,dc=example' -w '****' -b 'cn=zafoconf,dc=x,dc=example' -s 'base' 'dn'",
            "Server [ldap.x.example] type is 1"}));
    TakeLog();
    SearchFails(32);
    Finds(Entry("ou=macosxodconfig," + kBase, {}));
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(OwnLog(), Strings{"Server [ldap.x.example] type is 2"});
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(OwnLog(), Strings{"Server [ldap.x.example] type is 0"});
}

TEST_P(AccountsDebug, ServerTypeSaysWhichCheckFailed) {
    SearchFails(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(OwnLog(),
              Strings{"ZAFOLDAPBrowserCheckZafoSchema failed, ldap_invalid_credentials (49)"});
    SearchFails(32);
    SearchFails(50);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(OwnLog(),
              Strings{"ZAFOLDAPBrowserCheckMacSchema failed, ldap_insufficient_access (50)"});
}

TEST_P(AccountsDebug, SuggestedBaseDnsAreListed) {
    List list;
    Finds("dn:\nnamingContexts: dc=b\nnamingContexts: dc=a\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(OwnLog(), (Strings{"suggest basedn: 2", "  [dc=b]", "  [dc=a]"}));
}

TEST_P(AccountsDebug, SuggestedBaseDnsAreListedAfterAFailureToo) {
    List list;
    SearchFails(51);
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), -1);
    EXPECT_EQ(OwnLog(), Strings{"suggest basedn: 0"});
}

TEST_P(AccountsDebug, BaseDnsThatAreRefusedAreNotListed) {
    List list;
    SearchFails(50);
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(OwnLog(), Strings{});
}

TEST_P(AccountsDebug, AnApplianceWithoutABindingIsReported) {
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_EQ(Log(), Strings{"is not binded"});
}

TEST_P(AccountsDebug, ABindingThatCannotBeClassifiedIsReported) {
    platform().bound = 1;
    platform().secret = "secret";
    platform().confs["/usr/zafo/etc/nslcd.conf"] = {
        {"uri", "ldap://ldap.x.example"}, {"binddn", "cn=admin," + kBase}, {"base", kBase}};
    SearchFails(51);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log().back(), "get bind info failed");
}

TEST_P(AccountsDebug, ARecordThatCannotBeClonedIsReported) {
    ASSERT_EQ(ZAFOLDAPHostInit(host), 0);
    for (const int attribute : {0, 1, 2, 3, 4}) {
        const char *const texts[] = {"ldap.x.example", kBase.c_str(), nullptr, nullptr, nullptr};
        ASSERT_EQ(ZAFOLDAPHostSet(host, attribute, texts[attribute]), 0);
    }
    int told = 0;
    FailEach(
        "QLIBCSzListAlloc", [&] { return ZAFOLDAPClientCheckBindInfo(host); },
        [&](int result) {
            EXPECT_EQ(result, -1);
            const Strings log = Log();
            told += static_cast<int>(std::count(log.begin(), log.end(), "clone host info failed"));
        });
    EXPECT_EQ(told, 1);
    ZAFOLDAPHostFree(host);
}

TEST_P(AccountsDebug, UsersToDirectoryAreCounted) {
    host.schema = 0x61;
    LocalUser zoe;
    zoe.name = "zoe";
    zoe.uid = 1001;
    zoe.password = "x";
    LocalUser ann = zoe;
    ann.name = "ann";
    ann.uid = 1002;
    platform().users = {zoe, ann};
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(host), 0);
    EXPECT_EQ(OwnLog(), (Strings{"2 users to be added.", "Try to add user 0: zoe",
                                 "ZAFOLDAPModify failed [zoe] [0x7777]",
                                 "ZAFOLDAPBrowserUserCreate failed. [zoe][0x7777]",
                                 "Create zoe successfully.", "Try to add user 1: ann",
                                 "Create ann successfully."}));
}

TEST_P(AccountsDebug, UsersToDirectoryThatAreSkippedDidNotSucceed) {
    LocalUser zoe;
    zoe.name = "zoe";
    platform().users = {zoe};
    platform().Fail("ZAFOUserGet", 1, -1, 0x1D00);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(host), 0);
    EXPECT_EQ(OwnLog(), (Strings{"1 users to be added.", "Try to add user 0: zoe",
                                 "ZAFOUserGet failed. [zoe]. [0x1D00]"}));
}

TEST_P(AccountsDebug, UsersToDirectoryWhoseNameIsTakenAreReportedBeforeTheFailure) {
    host.schema = 0x61;
    LocalUser zoe;
    zoe.name = "zoe";
    platform().users = {zoe};
    platform().On("ldapsearch", "uid=zoe").Prints(Entry("uid=zoe,dc=x", {}));
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(host), 0);
    EXPECT_EQ(
        OwnLog(),
        (Strings{"1 users to be added.", "Try to add user 0: zoe", "user [zoe] exists in db.",
                 "ZAFOLDAPBrowserUserCreate failed. [zoe][0x7777]", "Create zoe successfully."}));
}

TEST_P(AccountsDebug, GroupsToDirectoryAreCounted) {
    host.schema = 0x61;
    LocalGroup staff;
    staff.name = "staff";
    staff.gid = 101;
    platform().groups = {staff};
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLDAP(host), 0);
    EXPECT_EQ(OwnLog(), (Strings{"1 groups to be added.", "Try to add group 0: staff",
                                 "ZAFOLDAPModify failed [staff] [0x7777]",
                                 "ZAFOLDAPBrowserGroupCreate failed. [staff][0x7777]",
                                 "Create staff successfully."}));
}

TEST_P(AccountsDebug, UsersToLocalAreCounted) {
    platform()
        .On("ldapsearch", [](const Strings &argv) { return argv.back() == "uid"; })
        .Prints(Entry(kAnn, {{"uid", "ann"}}) + Entry("uid=zoe,dc=x", {{"uid", "zoe"}}));
    platform()
        .On("ldapsearch", kAnn)
        .Prints(Entry(kAnn, {{"uid", "ann"}, {"uidNumber", "1"}, {"userPassword", "{crypt}x"}}));
    platform().On("ldapsearch", "uid=zoe");
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(host), 0);
    const Strings log = OwnLog();
    ASSERT_EQ(log.size(), 5u) << testing::PrintToString(log);
    EXPECT_EQ(log[0], "2 users to be added.");
    EXPECT_EQ(log[1], "Try to add user 0: " + kAnn);
    EXPECT_TRUE(log[2] == "Create ann successfully." ||
                log[2] == "Create " + kAnn + " successfully.")
        << log[2];
    EXPECT_EQ(log[3], "Try to add user 1: uid=zoe,dc=x");
    EXPECT_EQ(log[4], "ZAFOLDAPBrowserUserGet failed. [uid=zoe,dc=x]. [0x1D00]");
}

TEST_P(AccountsDebug, GroupsToLocalAreCounted) {
    platform()
        .On("ldapsearch", [](const Strings &argv) { return argv.back() == "cn"; })
        .Prints(Entry(kStaff, {{"cn", "staff"}}));
    platform()
        .On("ldapsearch", kStaff)
        .Prints(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}}));
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(host), 0);
    const Strings log = OwnLog();
    ASSERT_EQ(log.size(), 3u) << testing::PrintToString(log);
    EXPECT_EQ(log[0], "1 groups to be added.");
    EXPECT_EQ(log[1], "Try to add group 0: " + kStaff);
    EXPECT_TRUE(log[2] == "Create staff successfully." ||
                log[2] == "Create " + kStaff + " successfully.")
        << log[2];
}

TEST_P(AccountsDebug, ZeroUsersToAddAreCountedToo) {
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(host), 0);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(host), 0);
    EXPECT_EQ(OwnLog(), (Strings{"0 users to be added.", "0 groups to be added."}));
}

}  // namespace zafo::foreign::accounts_debug_test
