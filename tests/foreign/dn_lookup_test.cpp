// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::dn_lookup_test {

class DnLookup : public AccountsTest {
  protected:
    char dn_[256] = "before";
};
ZAFO_FOREIGN_SUITE(DnLookup);

TEST_P(DnLookup, SearchesBelowTheBaseForAllAttributes) {
    Finds(Entry(kAnn, {{"uid", "ann"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(sn=x)", dn_, sizeof dn_), 1);
    EXPECT_EQ(Searches(), std::vector<Strings>{Below("(sn=x)")});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(DnLookup, WithoutABaseTheToolsOwnIsTaken) {
    host.base.reset();
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(sn=x)", dn_, sizeof dn_), 0);
    ASSERT_EQ(platform().Runs().size(), 1u);
    EXPECT_EQ(platform().Runs()[0].argv,
              (Strings{"-LLL", "-x", "-H", "ldap://ldap.x.example", "-D",
                       "cn=admin,dc=x,dc=example", "-w", "secret", "(sn=x)"}));
}

TEST_P(DnLookup, NoMatchLeavesTheBuffer) {
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(sn=x)", dn_, sizeof dn_), 0);
    EXPECT_STREQ(dn_, "before");
}

TEST_P(DnLookup, TheLastOfSeveralIsInTheBuffer) {
    Finds(Entry("uid=ann,ou=b", {}) + Entry("uid=ann,ou=c", {}) + Entry("uid=ann,ou=a", {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), 3);
    EXPECT_STREQ(dn_, "uid=ann,ou=a");
}

TEST_P(DnLookup, OnlyCountsWithoutABuffer) {
    const std::string two = Entry("uid=ann,ou=b", {}) + Entry("uid=ann,ou=c", {});
    Finds(two);
    Finds(two);
    Finds(two);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", nullptr, 64), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", nullptr, 0), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, 0), 2);
    EXPECT_STREQ(dn_, "before");
}

TEST_P(DnLookup, CutsTheDnToTheBuffer) {
    Finds(Entry("uid=ann,ou=b", {}));
    Finds(Entry("uid=ann,ou=b", {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, 8), 1);
    EXPECT_STREQ(dn_, "uid=ann");
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, 1), 1);
    EXPECT_STREQ(dn_, "");
}

TEST_P(DnLookup, ADnOf1023BytesIsWhole) {
    const std::string long_dn = "uid=" + std::string(1023 - 4 - 4, 'a') + ",c=o";
    char buffer[1024];
    Finds(Entry(long_dn, {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=a)", buffer, sizeof buffer), 1);
    EXPECT_EQ(buffer, long_dn);
}

TEST_P(DnLookup, AnEntryWithoutADnIsNotCounted) {
    Finds("uid: ghost\n\n" + Entry("uid=ann,ou=b", {}) + "uid: ghost\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), 1);
    EXPECT_STREQ(dn_, "uid=ann,ou=b");
}

TEST_P(DnLookup, AnEncodedDnIsDecoded) {
    Finds("dn:: " + Base64("uid=j\xC3\xB6rg,c=o") + "\nuid: x\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=x)", dn_, sizeof dn_), 1);
    EXPECT_STREQ(dn_, "uid=j\xC3\xB6rg,c=o");
}

TEST_P(DnLookup, FailsWithTheToolAndNamesItsError) {
    Finds(Entry(kAnn, {})).Exits(49);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Log(), Strings{kGetNextFailed + ", ldap_invalid_credentials (49)"});
    ExpectAllClosed();
}

TEST_P(DnLookup, AMissingBaseIsAFailure) {
    SearchFails(32);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), -1);
    EXPECT_EQ(Log(), Strings{kGetNextFailed + ", ldap_no_such_object (32)"});
    EXPECT_STREQ(dn_, "before");
}

TEST_P(DnLookup, FailsWhenTheToolIsKilledWithTheErrorAsItWas) {
    Finds(Entry(kAnn, {})).Dies(11);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), -1);
    EXPECT_EQ(Log(), Strings{kGetNextFailed + ",  (4711)"});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(DnLookup, FailsWhenTheToolCannotBeStarted) {
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_STREQ(dn_, "before");
}

TEST_P(DnLookup, FailsWhenTheOutputCannotBeRead) {
    Finds(Entry(kAnn, {})).ReadFails();
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", dn_, sizeof dn_), -1);
    EXPECT_EQ(PlatformError(), 0x0A00);
    ExpectAllClosed();
}

TEST_P(DnLookup, FailsWithEveryListThatCannotBeFilled) {
    platform().On("ldapsearch").Prints(Entry(kAnn, {{"uid", "ann"}})).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return ZAFOLDAPBrowserGetFirstDN(host, "(uid=ann)", nullptr, 0); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(DnLookup, FirstDnChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPBrowserGetFirstDN(nullptr, nullptr, nullptr, 0); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserGetFirstDN(nowhere, nullptr, nullptr, 0); });
    ExpectArgumentFailureOn("szFilter",
                            [&] { return ZAFOLDAPBrowserGetFirstDN(host, nullptr, nullptr, 0); });
}

TEST_P(DnLookup, AUserIsFoundByLoginName) {
    Finds(Entry(kAnn, {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, "ann", dn_, sizeof dn_), 1);
    EXPECT_EQ(dn_, kAnn);
    EXPECT_EQ(Searches(), std::vector<Strings>{Below(And(kUsers, "uid=ann"))});
}

TEST_P(DnLookup, AGroupIsFoundByName) {
    Finds(Entry(kStaff, {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByGroupCN(host, "staff", dn_, sizeof dn_), 1);
    EXPECT_EQ(dn_, kStaff);
    EXPECT_EQ(Searches(), std::vector<Strings>{Below(And(kGroups, "cn=staff"))});
}

TEST_P(DnLookup, TwoUsersOfOneNameGiveTheSecond) {
    Finds(Entry("uid=ann,ou=b", {}) + Entry("uid=ann,ou=a", {}));
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, "ann", dn_, sizeof dn_), 2);
    EXPECT_STREQ(dn_, "uid=ann,ou=a");
}

TEST_P(DnLookup, NamesAreNotEscaped) {
    FindsNothing();
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, "a*)(b", nullptr, 0), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByGroupCN(host, "*", nullptr, 0), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{Below(And(kUsers, "uid=a*)(b")), Below(And(kGroups, "cn=*"))}));
}

TEST_P(DnLookup, OptionsReplaceFilterAndNameAttribute) {
    struct {
        ZAFOLDAP_BROWSER_OPTIONS options;
        std::string filter;
    } const rows[] = {
        {{nullptr, nullptr}, "(&(objectClass=posixAccount)(uid=ann))"},
        {{"objectClass=user", nullptr}, "(&(objectClass=user)(uid=ann))"},
        {{nullptr, "sAMAccountName"}, "(&(objectClass=posixAccount)(sAMAccountName=ann))"},
        {{"objectClass=user", "sAMAccountName"}, "(&(objectClass=user)(sAMAccountName=ann))"},
    };
    std::vector<Strings> expected;
    for (const auto &row : rows) {
        FindsNothing();
        EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUIDEx(host, "ann", dn_, sizeof dn_, &row.options), 0);
        expected.push_back(Below(row.filter));
    }
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUIDEx(host, "ann", dn_, sizeof dn_, nullptr), 0);
    expected.push_back(Below(rows[0].filter));
    EXPECT_EQ(Searches(), expected);
}

TEST_P(DnLookup, AFilterOf2047BytesIsWhole) {
    const std::string user(2047 - And(kUsers, "uid=").size(), 'u');
    const std::string group(2047 - And(kGroups, "cn=").size(), 'g');
    FindsNothing();
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, user.c_str(), nullptr, 0), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByGroupCN(host, group.c_str(), nullptr, 0), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{Below(And(kUsers, "uid=" + user)),
                                                Below(And(kGroups, "cn=" + group))}));
}

TEST_P(DnLookup, ALongerFilterIsRefused) {
    const std::string user(2048 - And(kUsers, "uid=").size(), 'u');
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, user.c_str(), nullptr, 0), -1);
    EXPECT_EQ(PlatformError(), 0x0E00);
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(DnLookup, NameLookupsFailWithTheTool) {
    SearchFails(51);
    SearchFails(51);
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host, "ann", dn_, sizeof dn_), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByGroupCN(host, "staff", dn_, sizeof dn_), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed + ",  (51)", kGetNextFailed + ",  (51)"}));
    EXPECT_STREQ(dn_, "before");
}

TEST_P(DnLookup, NameLookupsCheckTheirArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost", [&] {
        return ZAFOLDAPBrowserGetDNByUserUID(nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPBrowserGetDNByUserUID(nowhere, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("((void *)0) != szUserUID",
                          [&] { return ZAFOLDAPBrowserGetDNByUserUID(host, nullptr, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != szUserUID", [&] {
        return ZAFOLDAPBrowserGetDNByUserUIDEx(host, nullptr, nullptr, 0, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pHost", [&] {
        return ZAFOLDAPBrowserGetDNByGroupCN(nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPBrowserGetDNByGroupCN(nowhere, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("((void *)0) != szGroupCN",
                          [&] { return ZAFOLDAPBrowserGetDNByGroupCN(host, nullptr, nullptr, 0); });
}

}  // namespace zafo::foreign::dn_lookup_test
