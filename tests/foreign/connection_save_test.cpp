// SPDX-License-Identifier: Apache-2.0
//
// Saving connections to the directory browser's file.
#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::connection_save_test {

const std::string kConf = "/usr/zafo/etc/private/ldapbrowser.conf";

class BrowserConfSet : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        host_.uri = "srv";
        host_.base = "dc=s";
        host_.bind_dn = "cn=adm";
        host_.password = "geheim";
        host_.login_suffix = "s.example";
    }
    Pairs &Section(const std::string &name) { return platform().sections[kConf][name]; }
    int Save(const char *section = "ann") { return ZAFOLDAPBrowserConfSet(host_, section); }
    // The platform's text for a transport security type.
    std::string SslText(int type) {
        char text[1024] = "";
        EXPECT_GE(ZAFOLDAPSSLToString(type, text, sizeof text), 0);
        return text;
    }
    Pairs Expected(int type) {
        return {{"uri", "srv"},
                {"basedn", "dc=s"},
                {"binddn", "cn=adm"},
                {"loginsuffix", "s.example"},
                {"bindpw", Platform::Encipher("geheim")},
                {"ssl", SslText(type)}};
    }
    void ExpectNothingWritten() { EXPECT_EQ(platform().CallsOf("QLIBCFileSetSection").size(), 0U); }
    Host host_;
};
ZAFO_FOREIGN_SUITE(BrowserConfSet);

TEST_P(BrowserConfSet, WritesASectionThatExists) {
    Section("ann") = {{"uri", "old"}, {"comment", "kept"}, {"binddn", "cn=old"}};
    Section("root") = {{"uri", "other"}};
    const Pairs root = Section("root");
    Pairs expected = Expected(1);
    expected["comment"] = "kept";
    host_.ssl = 1;
    platform().Forget();
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(Section("ann"), expected);
    EXPECT_EQ(Section("root"), root);
    EXPECT_EQ(platform().CallsOf("QLIBCFileAddSection").size(), 0U);
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"1024"});
    EXPECT_EQ(platform().CallsOf("QLIBCryptSzEncrypt").at(0).arguments,
              (Strings{"geheim", "1369"}));
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSSLToString").at(0).arguments, (Strings{"1", "1024"}));
    const auto written = platform().CallsOf("QLIBCFileSetSection");
    ASSERT_EQ(written.size(), 1U);
    EXPECT_EQ(written[0].arguments, (Strings{kConf, "ann", "(null)", "0x0"}));
    EXPECT_EQ(written[0].map, expected);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BrowserConfSet, MakesAMissingSectionEmptyFirst) {
    Section("root") = {{"uri", "other"}};
    const Pairs expected = Expected(0);
    platform().Forget();
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(Section("ann"), expected);
    const auto added = platform().CallsOf("QLIBCFileAddSection");
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(added[0].arguments, (Strings{kConf, "ann", "0x0"}));
    EXPECT_EQ(added[0].map, Pairs{});
    EXPECT_EQ(platform().Order({"QLIBCFileGetSection", "QLIBCFileAddSection", "QLIBCryptSzEncrypt",
                                "ZAFOLDAPSSLToString", "QLIBCFileSetSection"}),
              (Strings{"QLIBCFileGetSection", "QLIBCFileAddSection", "QLIBCryptSzEncrypt",
                       "ZAFOLDAPSSLToString", "QLIBCFileSetSection"}));
}

TEST_P(BrowserConfSet, MakesTheFirstSectionOfAMissingFile) {
    const Pairs expected = Expected(0);
    EXPECT_EQ(Save(nullptr), 0);
    EXPECT_EQ(platform().sections[kConf]["root"], expected);
}

TEST_P(BrowserConfSet, SavesUnderRootWithoutASection) {
    Section("root") = {{"uri", "old"}};
    EXPECT_EQ(Save(nullptr), 0);
    EXPECT_EQ(Section("root")["uri"], "srv");
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").at(0).arguments.at(1), "root");
}

TEST_P(BrowserConfSet, KeepsTheKeysOfFieldsThatAreNotSet) {
    const std::string ssl = SslText(2);
    const Pairs old{{"uri", "old"},           {"basedn", "dc=old"},
                    {"binddn", "cn=old"},     {"loginsuffix", "old.example"},
                    {"bindpw", "old cipher"}, {"ssl", "old"}};
    Section("ann") = old;
    host_.uri.reset();
    host_.base.reset();
    host_.bind_dn.reset();
    host_.password.reset();
    host_.login_suffix.reset();
    host_.ssl = 2;
    platform().Forget();
    EXPECT_EQ(Save(), 0);
    Pairs expected = old;
    expected["ssl"] = ssl;
    EXPECT_EQ(Section("ann"), expected);
    EXPECT_EQ(platform().CallsOf("QLIBCryptSzEncrypt").size(), 0U);
}

TEST_P(BrowserConfSet, SavesEmptyFields) {
    Section("ann") = {{"uri", "old"}, {"binddn", "cn=old"}, {"bindpw", "old"}};
    host_.bind_dn = "";
    host_.password = "";
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(Section("ann")["binddn"], "");
    EXPECT_EQ(Section("ann")["bindpw"], Platform::Encipher(""));
}

TEST_P(BrowserConfSet, MakesNoKeyForAFieldThatIsNotSet) {
    host_.bind_dn.reset();
    host_.password.reset();
    Pairs expected = Expected(0);
    expected.erase("binddn");
    expected.erase("bindpw");
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(Section("ann"), expected);
}

TEST_P(BrowserConfSet, MakesASectionThatCannotBeLoaded) {
    Section("ann") = {{"uri", "old"}};
    for (const int result : {0, -1}) {
        platform().Forget();
        platform().Fail("QLIBCFileGetSection", 1, result, 0x2200);
        EXPECT_EQ(Save(), 0) << result;
        EXPECT_EQ(platform().CallsOf("QLIBCFileAddSection").size(), 1U) << result;
    }
}

TEST_P(BrowserConfSet, FailsWithoutAMap) {
    platform().Fail("QLIBCSzHashAlloc", 1, -1, 0);
    EXPECT_EQ(Save(), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").size(), 0U);
    ExpectNothingWritten();
}

TEST_P(BrowserConfSet, LogsASectionThatCannotBeMade) {
    platform().Fail("QLIBCFileAddSection", 1, -1, 0x0B00);
    EXPECT_EQ(Save("bob"), -1);
    EXPECT_EQ(Log(), Strings{"save borwser conf [bob] failed! [0x0B00]"});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    ExpectNothingWritten();
    TakeLog();
    platform().Fail("QLIBCFileAddSection", 1, -1, 0x0900);
    EXPECT_EQ(Save(nullptr), -1);
    EXPECT_EQ(Log(), Strings{"save borwser conf [root] failed! [0x0900]"});
}

TEST_P(BrowserConfSet, LogsAPasswordThatCannotBeEnciphered) {
    Section("ann") = {{"uri", "old"}};
    platform().Fail("QLIBCryptSzEncrypt", 1, -1, 0x0E00);
    EXPECT_EQ(Save(), -1);
    EXPECT_EQ(Log(), Strings{"Encrypt password failed! [0x0E00]"});
    ExpectNothingWritten();
    EXPECT_EQ(Section("ann"), (Pairs{{"uri", "old"}}));
}

TEST_P(BrowserConfSet, LogsATransportSecurityWithoutAText) {
    Section("ann") = {{"uri", "old"}};
    platform().Fail("ZAFOLDAPSSLToString", 1, -1, 0x0D00);
    EXPECT_EQ(Save(), -1);
    EXPECT_EQ(Log(), Strings{"Bad parameters."});
    ExpectNothingWritten();
}

TEST_P(BrowserConfSet, LogsASectionThatCannotBeWritten) {
    Section("ann") = {{"uri", "old"}};
    platform().Fail("QLIBCFileSetSection", 1, -1, 0x0B00);
    EXPECT_EQ(Save(), -1);
    EXPECT_EQ(Log(), Strings{"save borwser conf failed! [0x0B00]"});
    EXPECT_EQ(Section("ann"), (Pairs{{"uri", "old"}}));
}

TEST_P(BrowserConfSet, FailsWithAnyValueThatCannotBeSet) {
    Section("ann") = {{"uri", "old"}};
    for (int nth = 1; nth <= 6; ++nth) {
        platform().Fail("QLIBCSzHashSetValue", nth, -1, 0x0200);
        EXPECT_EQ(Save(), -1) << nth;
        ExpectNothingWritten();
    }
    EXPECT_EQ(Section("ann"), (Pairs{{"uri", "old"}}));
}

TEST_P(BrowserConfSet, TerminatesUnterminatedTextsInTheirBuffers) {
    platform().Fills("QLIBCryptSzEncrypt");
    platform().Fills("ZAFOLDAPSSLToString");
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(Section("ann")["bindpw"], std::string(1368, 'x'));
    EXPECT_EQ(Section("ann")["ssl"], std::string(1023, 'x'));
}

TEST_P(BrowserConfSet, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPBrowserConfSet(nullptr, "ann"); });
    EXPECT_EQ(platform().Calls().empty() || platform().CallsOf("QLIBCFileGetSection").empty(),
              true);
}

TEST_P(BrowserConfSet, ReadsBackWhatItSaved) {
    host_.ssl = 2;
    ASSERT_EQ(Save("bob"), 0);
    platform().On("ldapsearch").Exits(255);
    ZAFOLDAP_HOST read{};
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&read, "bob"), 0);
    EXPECT_STREQ(read.szUri, "srv");
    EXPECT_STREQ(read.szBaseDN, "dc=s");
    EXPECT_STREQ(read.szBindDN, "cn=adm");
    EXPECT_STREQ(read.szBindPasswd, "geheim");
    EXPECT_STREQ(read.szLoginSuffix, "s.example");
    EXPECT_EQ(read.nSSLType, 2);
    ZAFOLDAPHostFree(&read);
}

class ServerConnection : public BrowserConfSet {
  protected:
    void SetUp() override {
        BrowserConfSet::SetUp();
        parameters_.szSuffix = "dc=my,dc=home";
        parameters_.szRootDN = "uid=root,cn=users,dc=my,dc=home";
        parameters_.szRootPW = "s3cret";
    }
    ZAFOLDAP_SERVER_PARAM parameters_{};
};
ZAFO_FOREIGN_SUITE(ServerConnection);

TEST_P(ServerConnection, IsSavedUnderRootWithStartTls) {
    const std::string ssl = SslText(2);
    platform().Forget();
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parameters_), 0);
    EXPECT_EQ(Section("root"), (Pairs{{"uri", "localhost"},
                                      {"basedn", "dc=my,dc=home"},
                                      {"binddn", "uid=root,cn=users,dc=my,dc=home"},
                                      {"loginsuffix", "my.home"},
                                      {"bindpw", Platform::Encipher("s3cret")},
                                      {"ssl", ssl}}));
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPDNDomainName").at(0).arguments,
              (Strings{"dc=my,dc=home", "1024"}));
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSSLToString").at(0).arguments, (Strings{"2", "1024"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerConnection, KeepsTheLoginSuffixOfABaseWithoutADomain) {
    for (const int result : {-1, 1, 7}) {
        Section("root") = {{"uri", "old"}, {"loginsuffix", "old.example"}};
        platform().Fail("ZAFOLDAPDNDomainName", 1, result, result < 0 ? 0x0F00 : 0);
        EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parameters_), 0) << result;
        EXPECT_EQ(Section("root")["loginsuffix"], "old.example") << result;
        EXPECT_EQ(Section("root")["uri"], "localhost") << result;
    }
}

TEST_P(ServerConnection, FailsAsSavingDoes) {
    platform().Fail("QLIBCFileAddSection", 1, -1, 0x0900);
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parameters_), -1);
    EXPECT_EQ(Log(), Strings{"save borwser conf [root] failed! [0x0900]"});
}

TEST_P(ServerConnection, TerminatesAnUnterminatedDomainNameInItsBuffer) {
    platform().Fills("ZAFOLDAPDNDomainName");
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parameters_), 0);
    EXPECT_EQ(Section("root")["loginsuffix"], std::string(1023, 'x'));
}

TEST_P(ServerConnection, SurvivesNoRecord) {
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    ExpectNothingWritten();
}

}  // namespace zafo::foreign::connection_save_test
