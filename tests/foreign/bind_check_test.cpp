// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::bind_check_test {

const char kSavedConnections[] = "/usr/zafo/etc/private/ldapbrowser.conf";
const char kClientBinding[] = "/usr/zafo/etc/nslcd.conf";
const Strings kAllFour{"posixAccount", "posixGroup", "inetOrgPerson", "shadowAccount"};

class BindCheck : public AccountsTest {
  protected:
    static Strings Listing() {
        return {"-b", kBase, "-z", "1", kUsers, "dn", "cn", "uid", "gecos", "shadowExpire", "mail"};
    }
    static std::vector<Strings> SchemaQuestions() {
        return {{"-s", "baseObject", "subschemaSubentry"},
                {"-b", "cn=Subschema", "-s", "baseObject", "objectclasses"}};
    }
    static std::vector<Strings> ListingAndSchema() {
        return {Listing(), SchemaQuestions()[0], SchemaQuestions()[1]};
    }
    static std::string Schema(const Strings &classes) {
        std::string text = "dn: cn=Subschema\n";
        for (const std::string &name : classes)
            text += "objectClasses: ( 1.2.3 NAME '" + name + "' )\n";
        return text + "\n";
    }
    void HasSchema(const Strings &classes) {
        platform()
            .On("ldapsearch", "subschemaSubentry")
            .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n");
        platform().On("ldapsearch", "cn=Subschema").Prints(Schema(classes));
    }
    Tool &Lists(const std::string &ldif = {}) {
        return platform().On("ldapsearch", "shadowExpire").Prints(ldif);
    }
    static std::string Refused(const std::string &key_and_code) {
        return "check enum failed, dn=[cn=admin," + kBase + "], " + key_and_code;
    }
};
ZAFO_FOREIGN_SUITE(BindCheck);

TEST_P(BindCheck, ListingAsksForOneUser) {
    Lists(Entry(kAnn, {{"uid", "ann"}}));
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{Listing()});
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    ExpectAllClosed();
}

TEST_P(BindCheck, ListingPassesAndClearsTheLibrarysError) {
    for (const std::string &ldif : {std::string(), Entry(kAnn, {{"uid", "ann"}})}) {
        for (const int code : {0, 4}) {
            Stale();
            Lists(ldif).Exits(code);
            EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), 0);
            EXPECT_EQ(LibraryError(), 0);
            EXPECT_EQ(Log(), Strings{});
        }
    }
}

TEST_P(BindCheck, ListingFailsWithTheToolInSilence) {
    for (const int code : {1, 3, 11, 32, 49, 50, 255}) {
        Stale();
        Lists(Entry(kAnn, {})).Exits(code);
        EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), -1) << code;
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(BindCheck, ListingFailsWhenTheToolIsKilled) {
    Lists().Dies(9);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), -1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BindCheck, ListingFailsWhenTheToolCannotBeStarted) {
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Log(), Strings{"search init failed[0x0900]"});
}

TEST_P(BindCheck, ListingFailsWithoutARequest) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host), -1);
    EXPECT_EQ(Log(), Strings{"init user enum request failed[0x0200]"});
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(BindCheck, ListingFailsWithEveryListThatCannotBeFilled) {
    platform().On("ldapsearch").Prints(Entry(kAnn, {{"uid", "ann"}})).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return ZAFOLDAPPosixCheckEnumUser(host); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(BindCheck, ListingChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPPosixCheckEnumUser(nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPPosixCheckEnumUser(nowhere); });
}

TEST_P(BindCheck, ClientReadsTheSchemaAndDoesNotJudgeIt) {
    for (const Strings &classes : {Strings{}, Strings{"top"}, kAllFour}) {
        platform().Forget();
        Lists(Entry(kAnn, {}));
        HasSchema(classes);
        EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), 0);
        EXPECT_EQ(Searches(), ListingAndSchema());
        EXPECT_EQ(LibraryError(), 0);
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(BindCheck, ClientLeavesTheCallersSchemaBits) {
    host.schema = 0x1000;
    Lists();
    HasSchema(kAllFour);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), 0);
    EXPECT_EQ(host->nSchema, 0x1000u);
}

TEST_P(BindCheck, ClientNamesTheBindDnThatIsRefused) {
    Lists().Exits(49);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(Log(), Strings{Refused("ldap_invalid_credentials (49)")});
    EXPECT_EQ(Searches(), std::vector<Strings>{Listing()});
}

TEST_P(BindCheck, ClientNamesNoBindDnAsNull) {
    host.bind_dn.reset();
    Lists().Exits(50);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), -1);
    EXPECT_EQ(Log(), Strings{"check enum failed, dn=[(null)], ldap_insufficient_access (50)"});
}

TEST_P(BindCheck, ClientFailsWithoutTheSchemasDn) {
    struct {
        const char *root;
        int code;
        const char *line;
    } const rows[] = {
        {"dn:\n\n", 0, "get support schema failed(-2),  (0)"},
        {"", 0, "get support schema failed(-2),  (0)"},
        {"", 32, "get support schema failed(-2), ldap_no_such_object (32)"},
    };
    for (const auto &row : rows) {
        Stale();
        TakeLog();
        Lists();
        platform().On("ldapsearch", "subschemaSubentry").Prints(row.root).Exits(row.code);
        EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), -1);
        EXPECT_EQ(LibraryError(), -65537);
        EXPECT_EQ(Log(), Strings{row.line});
    }
}

TEST_P(BindCheck, ClientFailsWithoutTheSchema) {
    Lists();
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    platform().On("ldapsearch", "cn=Subschema").Exits(50);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host), -1);
    EXPECT_EQ(LibraryError(), -65537);
    EXPECT_EQ(Log(), Strings{"get support schema failed(-3), ldap_insufficient_access (50)"});
}

TEST_P(BindCheck, ClientFailsWithEveryListThatCannotBeMade) {
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n")
        .Always();
    platform().On("ldapsearch", "cn=Subschema").Prints(Schema(kAllFour)).Always();
    FailEach(
        "QLIBCSzListAlloc", [&] { return ZAFOLDAPClientCheckBindInfo(host); },
        [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(BindCheck, ClientChecksTheRecordsServer) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailureOn("pHost->szUri", [&] { return ZAFOLDAPClientCheckBindInfo(nowhere); });
}

class ClientBinding : public BindCheck {
  protected:
    void SetUp() override {
        BindCheck::SetUp();
        platform().bound = 1;
        platform().secret = "secret";
        platform().confs[kClientBinding] = {
            {"uri", "ldap://ldap.x.example"}, {"binddn", "cn=admin," + kBase}, {"base", kBase}};
    }
};
ZAFO_FOREIGN_SUITE(ClientBinding);

TEST_P(ClientBinding, IsAskedForWithoutFlags) {
    platform().bound = 0;
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    const std::vector<Call> calls = platform().CallsOf("ZAFOLDAPIsBinded");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_TRUE(calls[0].arguments == Strings{"0"} || calls[0].arguments == Strings{"0x0"})
        << calls[0].arguments[0];
}

TEST_P(ClientBinding, AnythingButOneMeansNoBinding) {
    for (const int answer : {0, 2, -1}) {
        platform().Forget();
        platform().Returns("ZAFOLDAPIsBinded", answer);
        EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1) << answer;
        EXPECT_EQ(Tools(), Strings{});
        EXPECT_EQ(platform().CallsOf("ZAFOLDAPInfoGetFromConf").size(), 0u);
        EXPECT_EQ(Log(), Strings{});
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
    }
}

TEST_P(ClientBinding, IsCheckedByListingOnly) {
    HasSchema({});
    Lists();
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), 0);
    const std::vector<Strings> searches = Searches();
    ASSERT_EQ(searches.size(), 5u);
    EXPECT_EQ(searches[2], SchemaQuestions()[0]);
    EXPECT_EQ(searches[3], SchemaQuestions()[1]);
    EXPECT_EQ(searches[4], Listing());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ClientBinding, ThatIsRefusedIsLogged) {
    HasSchema({});
    Lists().Exits(49);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(Log(), Strings{Refused("ldap_invalid_credentials (49)")});
}

TEST_P(ClientBinding, ThatCannotBeClassifiedFailsInSilence) {
    SearchFails(51);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ClientBinding, ThatCannotBeReadFails) {
    platform().confs.clear();
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_EQ(Tools(), Strings{});
}

class BrowserCheck : public BindCheck {
  protected:
    void Saves(const std::string &section) {
        platform().sections[kSavedConnections][section] = {
            {"uri", "ldap.x.example"},
            {"basedn", kBase},
            {"binddn", "cn=admin," + kBase},
            {"loginsuffix", "x.example"},
            {"bindpw", Platform::Encipher("secret")},
        };
    }
    // A schema that lacks just one of the required classes.
    static Strings Without(const std::string &missing) {
        Strings classes = kAllFour;
        std::erase(classes, missing);
        return classes;
    }
};
ZAFO_FOREIGN_SUITE(BrowserCheck);

TEST_P(BrowserCheck, PassesWithTheFourClasses) {
    Lists(Entry(kAnn, {}));
    HasSchema(kAllFour);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), 0);
    EXPECT_EQ(LibraryError(), 0);
    EXPECT_EQ(Searches(), ListingAndSchema());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BrowserCheck, SaysWhichServerIsNotSupported) {
    for (const std::string &missing : kAllFour) {
        SCOPED_TRACE(missing);
        Stale();
        Lists();
        HasSchema(Without(missing));
        EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), 0);
        EXPECT_EQ(LibraryError(), -65537);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
    }
}

TEST_P(BrowserCheck, OnlyAddsToTheBitsThatTheRecordHas) {
    host.schema = 0x0100;
    Lists();
    HasSchema(Without("shadowAccount"));
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), 0);
    EXPECT_EQ(LibraryError(), 0);
    EXPECT_EQ(host->nSchema, 0x0100u);
}

TEST_P(BrowserCheck, ASuperiorInQuotesCountsAsItself) {
    Lists();
    Strings classes = Without("shadowAccount");
    classes.push_back("mine' SUP 'shadowAccount");
    HasSchema(classes);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), 0);
    EXPECT_EQ(LibraryError(), 0);
}

TEST_P(BrowserCheck, WithoutASchemaOnlyTheListingCounts) {
    Lists();
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), 0);
    EXPECT_EQ(LibraryError(), 50);
}

TEST_P(BrowserCheck, FailsWithTheListing) {
    Lists().Exits(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, nullptr), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(Searches(), std::vector<Strings>{Listing()});
}

TEST_P(BrowserCheck, GivenRecordMattersMoreThanTheSection) {
    Lists();
    HasSchema(kAllFour);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host, "missing"), 0);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").size(), 0u);
}

TEST_P(BrowserCheck, SavedConnectionIsLoadedClassifiedAndListed) {
    for (const char *section : {"root", "mine"}) {
        platform().Forget();
        Saves(section);
        HasSchema(kAllFour);
        Lists();
        EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, section), 0);
        EXPECT_EQ(LibraryError(), 0);
        const std::vector<Strings> searches = Searches();
        ASSERT_EQ(searches.size(), 5u);
        EXPECT_EQ(searches[4], Listing());
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(BrowserCheck, NoSectionMeansRoot) {
    Saves("root");
    HasSchema(kAllFour);
    Lists();
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr), 0);
    EXPECT_EQ(LibraryError(), 0);
}

TEST_P(BrowserCheck, SavedConnectionNeedsTheFourClassesToo) {
    for (const std::string &missing : kAllFour) {
        SCOPED_TRACE(missing);
        Saves("root");
        HasSchema(Without(missing));
        Lists();
        EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr), 0);
        EXPECT_EQ(LibraryError(), -65537);
    }
}

TEST_P(BrowserCheck, AMissingSectionFails) {
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, "nobody"), -1);
    EXPECT_EQ(PlatformError(), 0x2200);
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(BrowserCheck, ASavedServerThatCannotBeClassifiedFails) {
    Saves("root");
    SearchFails(51);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr), -1);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(BrowserCheck, ASavedServerWhoseSchemaCannotBeReadFails) {
    Saves("root");
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr), -1);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapsearch"}));
}

TEST_P(BrowserCheck, ASavedConnectionFailsWithItsListing) {
    Saves("root");
    HasSchema(kAllFour);
    Lists().Exits(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr), -1);
    EXPECT_EQ(LibraryError(), 49);
}

}  // namespace zafo::foreign::bind_check_test
