// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::server_type_test {

const std::string kOwnMarker = "cn=zafoconf,dc=x,dc=example";
const std::string kAppleFilter = "(&(objectClass=organizationalUnit)(ou=macosxodconfig))";

class ServerType : public AccountsTest {
  protected:
    void SetUp() override {
        AccountsTest::SetUp();
        host.server_type = 7;
    }
    static std::vector<Strings> OwnCheck() { return {{"-b", kOwnMarker, "-s", "base", "dn"}}; }
    static std::vector<Strings> BothChecks() {
        return {{"-b", kOwnMarker, "-s", "base", "dn"},
                {"-b", kBase, "-s", "sub", kAppleFilter, "dn"}};
    }
};
ZAFO_FOREIGN_SUITE(ServerType);

TEST_P(ServerType, OwnServerHasItsMarkerBelowTheBase) {
    Finds(Entry(kOwnMarker, {}));
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(host->nServerType, 1);
    EXPECT_EQ(Searches(), OwnCheck());
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
    ExpectAllClosed();
}

TEST_P(ServerType, AppleServerIsAskedForSecond) {
    SearchFails(32);
    Finds(Entry("ou=macosxodconfig,cn=config," + kBase, {}));
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(host->nServerType, 2);
    EXPECT_EQ(Searches(), BothChecks());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerType, WithNeitherMarkerItIsGeneric) {
    struct {
        int own;
        int apple;
    } const rows[] = {{0, 0}, {32, 0}, {0, 32}, {32, 32}};
    for (const auto &row : rows) {
        platform().Forget();
        host->nServerType = 7;
        SearchFails(row.own);
        SearchFails(row.apple);
        EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
        EXPECT_EQ(host->nServerType, 0);
        EXPECT_EQ(Searches(), BothChecks());
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(ServerType, MarkerIsFoundWhateverTheToolEndsWith) {
    Finds(Entry(kOwnMarker, {})).Exits(4);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), 0);
    EXPECT_EQ(host->nServerType, 1);
}

TEST_P(ServerType, FailureOfTheOwnCheckLeavesTheType) {
    for (const int code : {1, 49, 51, 255}) {
        platform().Forget();
        Stale();
        SearchFails(code);
        EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
        EXPECT_EQ(host->nServerType, 7);
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Searches(), OwnCheck());
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(ServerType, FailureOfTheAppleCheckLeavesTheType) {
    SearchFails(32);
    SearchFails(50);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(host->nServerType, 7);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Searches(), BothChecks());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerType, AKilledToolIsAFailure) {
    Finds().Dies(9);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(host->nServerType, 7);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(ServerType, AToolThatCannotBeStartedIsAFailure) {
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(host->nServerType, 7);
    EXPECT_EQ(PlatformError(), 0x0900);
    FindsNothing();
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(host), -1);
    EXPECT_EQ(host->nServerType, 7);
}

TEST_P(ServerType, AListThatCannotBeFilledIsAFailure) {
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function,
            [&] {
                host->nServerType = 7;
                return ZAFOLDAPBrowserCheckServerType(host);
            },
            [&](int result) {
                EXPECT_EQ(result, -1);
                EXPECT_EQ(host->nServerType, 7);
            });
}

TEST_P(ServerType, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPBrowserCheckServerType(nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserCheckServerType(nowhere); });
}

}  // namespace zafo::foreign::server_type_test
