// SPDX-License-Identifier: Apache-2.0
//
// Connection records from saved connections and from the client binding.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::connection_read_test {

const std::string kConf = "/usr/zafo/etc/private/ldapbrowser.conf";
const std::string kNslcd = "/usr/zafo/etc/nslcd.conf";

Pairs Saved() {
    return {{"uri", "srv"},
            {"basedn", "dc=s"},
            {"binddn", "cn=adm"},
            {"loginsuffix", "s.example"},
            {"bindpw", Platform::Encipher("geheim")}};
}

class ConnectionRead : public ChangeTest {
  protected:
    void TearDown() override {
        ZAFOLDAPHostFree(&host_);
        ChangeTest::TearDown();
    }
    // Scripts an appliance's own server whose schema has posixAccount and posixGroup.
    void AnswerAsOwnServer(const std::string &base) {
        platform().On("ldapsearch", "cn=zafoconf," + base).Prints(Entry("cn=zafoconf," + base, {}));
        AnswerSchema();
    }
    void AnswerSchema() {
        platform()
            .On("ldapsearch", "subschemaSubentry")
            .Prints(Entry("", {{"subschemaSubentry", "cn=Subschema"}}));
        platform()
            .On("ldapsearch", "objectclasses")
            .Prints(Entry("cn=Subschema",
                          {{"objectClasses", "( 1.3.6.1.1.1.2.0 NAME 'posixAccount' AUXILIARY )"},
                           {"objectClasses", "( 1.3.6.1.1.1.2.2 NAME 'posixGroup' )"}}));
    }
    void ExpectFields(const char *uri, const char *base, const char *bind, const char *password,
                      const char *suffix) {
        EXPECT_STREQ(host_.szUri, uri);
        EXPECT_STREQ(host_.szBaseDN, base);
        EXPECT_STREQ(host_.szBindDN, bind);
        EXPECT_STREQ(host_.szBindPasswd, password);
        EXPECT_STREQ(host_.szLoginSuffix, suffix);
    }
    // A record's memory may initially hold anything.
    void Soil() { memset(&host_, 0x5a, sizeof host_); }
    ZAFOLDAP_HOST host_{};
};

class BrowserConfig : public ConnectionRead {
  protected:
    Pairs &Section(const std::string &name) { return platform().sections[kConf][name]; }
    int Read(const char *section) {
        Soil();
        return ZAFOLDAPHostInitByBrowserConfig(&host_, section);
    }
};
ZAFO_FOREIGN_SUITE(BrowserConfig);

TEST_P(BrowserConfig, FillsTheRecordAndAsksTheServer) {
    Section("ann") = Saved();
    Section("ann")["ssl"] = "text of two";
    platform().Returns("ZAFOLDAPSSLToType", 2);
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read("ann"), 1);
    ExpectFields("srv", "dc=s", "cn=adm", "geheim", "s.example");
    EXPECT_EQ(host_.nSSLType, 2);
    EXPECT_EQ(host_.nServerType, 1);
    EXPECT_EQ(host_.nSchema, 0x60U);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSSLToType").at(0).arguments, Strings{"text of two"});
    const auto loaded = platform().CallsOf("QLIBCFileGetSection");
    ASSERT_EQ(loaded.size(), 1U);
    EXPECT_EQ(loaded[0].arguments, (Strings{kConf, "ann"}));
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"1024"});
    EXPECT_EQ(platform().CallsOf("QLIBCryptSzDecrypt").at(0).arguments,
              (Strings{Platform::Encipher("geheim"), "1024"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BrowserConfig, AsksTheServerWithTheNewRecord) {
    Section("root") = Saved();
    Section("root")["ssl"] = "two";
    platform().Returns("ZAFOLDAPSSLToType", 2);
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read("root"), 1);
    const Strings start{"-LLL", "-x", "-H", "ldap://srv", "-Z", "-D", "cn=adm", "-w", "geheim"};
    Strings type = start;
    for (const char *text : {"-b", "cn=zafoconf,dc=s", "-s", "base", "dn"})
        type.emplace_back(text);
    Strings name = start;
    for (const char *text : {"-s", "baseObject", "subschemaSubentry"})
        name.emplace_back(text);
    Strings schema = start;
    for (const char *text : {"-b", "cn=Subschema", "-s", "baseObject", "objectclasses"})
        schema.emplace_back(text);
    EXPECT_EQ(Searches(), (std::vector<Strings>{type, name, schema}));
}

TEST_P(BrowserConfig, ReadsRootWithoutASection) {
    Section("root") = Saved();
    Section("ann")["uri"] = "other";
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(nullptr), 1);
    EXPECT_STREQ(host_.szUri, "srv");
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").at(0).arguments, (Strings{kConf, "root"}));
}

TEST_P(BrowserConfig, IsPlainWithoutTransportSecurity) {
    Section("root") = Saved();
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(nullptr), 1);
    EXPECT_EQ(host_.nSSLType, 0);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSSLToType").size(), 0U);
}

TEST_P(BrowserConfig, LeavesFieldsOfAbsentKeysUnset) {
    Section("root") = {{"uri", "srv"}, {"basedn", "dc=s"}};
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(nullptr), 1);
    ExpectFields("srv", "dc=s", nullptr, nullptr, nullptr);
}

TEST_P(BrowserConfig, SurvivesASectionWithoutABase) {
    Section("root") = {{"uri", "srv"}};
    EXPECT_LE(Read(nullptr), 1);
    ExpectFields("srv", nullptr, nullptr, nullptr, nullptr);
    for (const Run &run : platform().Runs())
        for (const std::string &argument : run.argv)
            EXPECT_EQ(argument.find("(null)"), std::string::npos) << argument;
}

TEST_P(BrowserConfig, SurvivesASectionWithoutAServer) {
    Section("root") = {{"basedn", "dc=s"}};
    EXPECT_EQ(Read(nullptr), 0);
    ExpectFields(nullptr, "dc=s", nullptr, nullptr, nullptr);
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BrowserConfig, ReportsAMissingSection) {
    Section("root") = Saved();
    EXPECT_EQ(Read("bob"), -1);
    EXPECT_EQ(PlatformError(), 0x2200);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BrowserConfig, TreatsAnEmptySectionAsMissing) {
    Section("bob");
    EXPECT_EQ(Read("bob"), -1);
    EXPECT_EQ(PlatformError(), 0x2200);
}

TEST_P(BrowserConfig, TreatsAnUnreadableSectionAsMissing) {
    for (const int result : {0, -1, -7}) {
        Section("root") = Saved();
        Stale();
        platform().Fail("QLIBCFileGetSection", 1, result, 0x0900);
        EXPECT_EQ(Read(nullptr), -1) << result;
        EXPECT_EQ(PlatformError(), 0x2200) << result;
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BrowserConfig, FailsWithoutAMap) {
    Section("root") = Saved();
    platform().Fail("QLIBCSzHashAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Read(nullptr), -1);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").size(), 0U);
}

TEST_P(BrowserConfig, FailsWithoutAList) {
    Section("root") = Saved();
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Read(nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").size(), 0U);
}

TEST_P(BrowserConfig, FailsWithAnyFieldAndKeepsThoseBefore) {
    const char *texts[] = {"srv", "dc=s", "cn=adm", "s.example", "geheim"};
    Section("root") = Saved();
    for (int field = 0; field < 5; ++field) {
        platform().On("ldapsearch").Exits(255);
        platform().Forget();
        ASSERT_EQ(Read(nullptr), 0);
        const int number = NumberOfCall("QLIBCSzListInsert", texts[field]);
        ZAFOLDAPHostFree(&host_);
        platform().Forget();
        platform().Fail("QLIBCSzListInsert", number, -1, 0x0200);
        EXPECT_EQ(Read(nullptr), -1) << texts[field];
        EXPECT_EQ(host_.szUri == nullptr, field < 1) << texts[field];
        EXPECT_EQ(host_.szBaseDN == nullptr, field < 2) << texts[field];
        EXPECT_EQ(host_.szBindDN == nullptr, field < 3) << texts[field];
        EXPECT_EQ(host_.szLoginSuffix == nullptr, field < 4) << texts[field];
        EXPECT_EQ(host_.szBindPasswd, nullptr) << texts[field];
        EXPECT_EQ(platform().Runs().size(), 0U) << texts[field];
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BrowserConfig, LogsAPasswordThatCannotBeDeciphered) {
    Section("root") = Saved();
    Section("root")["bindpw"] = "not enciphered";
    EXPECT_EQ(Read(nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0F00);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{"Decrypt password failed! [0x0F00]"});
    ExpectFields("srv", "dc=s", "cn=adm", nullptr, "s.example");
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BrowserConfig, TakesAnEmptyPassword) {
    Section("root") = Saved();
    Section("root")["bindpw"] = Platform::Encipher("");
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(nullptr), 1);
    EXPECT_STREQ(host_.szBindPasswd, "");
}

TEST_P(BrowserConfig, IsFilledWhenTheServerCannotBeClassified) {
    Section("root") = Saved();
    platform().On("ldapsearch", "cn=zafoconf,dc=s").Exits(49);
    EXPECT_EQ(Read(nullptr), 0);
    EXPECT_EQ(LibraryError(), 49);
    ExpectFields("srv", "dc=s", "cn=adm", "geheim", "s.example");
    EXPECT_EQ(host_.nSchema, 0U);
    EXPECT_EQ(platform().Runs().size(), 1U);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BrowserConfig, IsFilledWhenTheSchemaCannotBeRead) {
    Section("root") = Saved();
    platform().On("ldapsearch", "cn=zafoconf,dc=s").Prints(Entry("cn=zafoconf,dc=s", {}));
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(Read(nullptr), 0);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(host_.nServerType, 1);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BrowserConfig, NeedsNoNumberOfPairsFromThePlatform) {
    Section("root") = Saved();
    platform().Returns("QLIBCFileGetSection", 1000000);
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(nullptr), 1);
    ExpectFields("srv", "dc=s", "cn=adm", "geheim", "s.example");
}

TEST_P(BrowserConfig, TerminatesAnUnterminatedPasswordInItsBuffer) {
    Section("root") = Saved();
    platform().Fills("QLIBCryptSzDecrypt");
    platform().On("ldapsearch").Exits(255);
    EXPECT_EQ(Read(nullptr), 0);
    EXPECT_EQ(host_.szBindPasswd, std::string(1023, 'x'));
}

TEST_P(BrowserConfig, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPHostInitByBrowserConfig(nullptr, "root"); });
}

class BindConfig : public ConnectionRead {
  protected:
    void SetUp() override {
        ConnectionRead::SetUp();
        Conf() = {{"uri", "ldap://srv"}, {"binddn", "cn=adm"}, {"base", "dc=s"}};
        platform().secret = "geheim";
        platform().login_suffix = "s.example";
        platform().ssl_type = 1;
    }
    Pairs &Conf() { return platform().confs[kNslcd]; }
    int Read() {
        Soil();
        return ZAFOLDAPHostInitByBindConfig(&host_);
    }
};
ZAFO_FOREIGN_SUITE(BindConfig);

TEST_P(BindConfig, FillsTheRecordAndAsksTheServer) {
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(), 1);
    ExpectFields("srv", "dc=s", "cn=adm", "geheim", "s.example");
    EXPECT_EQ(host_.nSSLType, 1);
    EXPECT_EQ(host_.nServerType, 1);
    EXPECT_EQ(host_.nSchema, 0x60U);
    EXPECT_EQ(platform().Runs().at(0).argv.at(3), "ldaps://srv");
    EXPECT_EQ(Log(), Strings{});
    const auto reads = platform().CallsOf("ZAFOLDAPInfoGetFromConf");
    ASSERT_EQ(reads.size(), 3U);
    EXPECT_EQ(reads[0].arguments, (Strings{kNslcd, "uri", "1024"}));
    EXPECT_EQ(reads[1].arguments, (Strings{kNslcd, "binddn", "1024"}));
    EXPECT_EQ(reads[2].arguments, (Strings{kNslcd, "base", "1024"}));
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPLoginSuffixGet").at(0).arguments, Strings{"1024"});
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSecretGet").at(0).arguments, Strings{"1024"});
    EXPECT_EQ(
        platform().Order({"ZAFOLDAPInfoGetFromConf", "ZAFOLDAPSSLTypeGetFromNslcd",
                          "ZAFOLDAPLoginSuffixGet", "ZAFOLDAPSecretGet"}),
        (Strings{"ZAFOLDAPInfoGetFromConf", "ZAFOLDAPInfoGetFromConf", "ZAFOLDAPInfoGetFromConf",
                 "ZAFOLDAPSSLTypeGetFromNslcd", "ZAFOLDAPLoginSuffixGet", "ZAFOLDAPSecretGet"}));
}

struct Uri {
    const char *configured;
    const char *stored;
};
constexpr Uri kUris[] = {
    {"ldap://srv", "srv"},
    {"LDAPS://host1:636", "host1:636"},
    {"LdAp://h:389/", "h:389/"},
    {"ldaps://a ldap://b", "a ldap://b"},
    {"ldap://ldap://a", "ldap://a"},
    {"ldapi:///", "ldapi:///"},
    {"srv", "srv"},
    {"ldap:/srv", "ldap:/srv"},
    {"xldap://srv", "xldap://srv"},
    {"ldap://", ""},
};

TEST_P(BindConfig, CutsTheSchemeOfTheFirstUri) {
    for (const Uri &uri : kUris) {
        Conf()["uri"] = uri.configured;
        AnswerAsOwnServer("dc=s");
        EXPECT_EQ(Read(), 1) << uri.configured;
        EXPECT_STREQ(host_.szUri, uri.stored);
        ExpectFields(uri.stored, "dc=s", "cn=adm", "geheim", "s.example");
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BindConfig, LeavesFieldsOfAbsentKeysUnset) {
    Conf().erase("binddn");
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(), 1);
    ExpectFields("srv", "dc=s", nullptr, "geheim", "s.example");
}

TEST_P(BindConfig, KeepsAnEmptyValue) {
    Conf()["binddn"] = "";
    AnswerAsOwnServer("dc=s");
    EXPECT_EQ(Read(), 1);
    ExpectFields("srv", "dc=s", "", "geheim", "s.example");
}

TEST_P(BindConfig, TakesNoValueOfAnEarlierKeyForAnAbsentOne) {
    Conf().erase("binddn");
    Conf().erase("base");
    Read();
    ExpectFields("srv", nullptr, nullptr, "geheim", "s.example");
}

TEST_P(BindConfig, IsFilledWithoutAServersAddress) {
    Conf().erase("uri");
    EXPECT_EQ(Read(), 0);
    ExpectFields(nullptr, "dc=s", "cn=adm", "geheim", "s.example");
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BindConfig, LogsAKeyThatCannotBeRead) {
    const char *keys[] = {"uri", "binddn", "base"};
    for (int nth = 1; nth <= 3; ++nth) {
        Stale();
        TakeLog();
        platform().Fail("ZAFOLDAPInfoGetFromConf", nth, -2, 0x0A00);
        EXPECT_EQ(Read(), -1) << nth;
        EXPECT_EQ(PlatformError(), 0x0A00);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        EXPECT_EQ(TakeLog(), Strings{"ZAFOLDAPInfoGetFromConf [" + kNslcd + "] [" + keys[nth - 1] +
                                     "] failed. [0x0A00]"});
        EXPECT_EQ(host_.szUri == nullptr, nth == 1);
        ZAFOLDAPHostFree(&host_);
    }
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(BindConfig, FailsWithoutAList) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Read(), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPInfoGetFromConf").size(), 0U);
}

TEST_P(BindConfig, FailsWithAnyFieldThatCannotBeStored) {
    for (const char *text : {"ldap://srv", "cn=adm", "dc=s", "srv", "s.example", "geheim"}) {
        platform().On("ldapsearch").Exits(255);
        platform().Forget();
        ASSERT_EQ(Read(), 0);
        const int number = NumberOfCall("QLIBCSzListInsert", text);
        ZAFOLDAPHostFree(&host_);
        platform().Forget();
        platform().Fail("QLIBCSzListInsert", number, -1, 0x0200);
        EXPECT_EQ(Read(), -1) << text;
        EXPECT_EQ(platform().Runs().size(), 0U) << text;
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BindConfig, LogsAMissingLoginSuffix) {
    platform().Fail("ZAFOLDAPLoginSuffixGet", 1, -1, 0x0900);
    EXPECT_EQ(Read(), -1);
    EXPECT_EQ(LibraryError(), -65537);
    EXPECT_EQ(Log(), Strings{"get login suffix failed[0x0900]"});
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPSecretGet").size(), 0U);
}

TEST_P(BindConfig, AcceptsThatNoSecretIsStored) {
    for (const int slot : {0x0900, 0x0A00}) {
        platform().Fail("ZAFOLDAPSecretGet", 1, -1, slot);
        AnswerAsOwnServer("dc=s");
        EXPECT_EQ(Read(), 1) << slot;
        ExpectFields("srv", "dc=s", "cn=adm", nullptr, "s.example");
        ZAFOLDAPHostFree(&host_);
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BindConfig, LogsAnyOtherFailureOfTheSecret) {
    for (const int slot : {0x0D00, 0x0E00, 0x0901}) {
        platform().Fail("ZAFOLDAPSecretGet", 1, -1, slot);
        EXPECT_EQ(Read(), -1) << slot;
        char line[64];
        snprintf(line, sizeof line, "ZAFOLDAPSecretGet failed. [0x%04X]", slot);
        EXPECT_EQ(TakeLog(), Strings{line});
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BindConfig, ClearsThePlatformsErrorBeforeTheSecret) {
    platform().slot = 0x0900;
    platform().Fail("ZAFOLDAPSecretGet", 1, -1, 0);
    EXPECT_EQ(Read(), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPSecretGet failed. [0x0000]"});
}

TEST_P(BindConfig, IsFilledAndSilentWhenTheServerCannotBeAsked) {
    platform().On("ldapsearch", "cn=zafoconf,dc=s").Exits(255);
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(LibraryError(), 255);
    ZAFOLDAPHostFree(&host_);
    platform().On("ldapsearch", "cn=zafoconf,dc=s").Prints(Entry("cn=zafoconf,dc=s", {}));
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(host_.nServerType, 1);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BindConfig, TerminatesUnterminatedTextsInTheirBuffers) {
    struct {
        const char *function;
        int nth;
        const char *ZAFOLDAP_HOST::*field;
    } const rows[] = {
        {"ZAFOLDAPInfoGetFromConf", 1, &ZAFOLDAP_HOST::szUri},
        {"ZAFOLDAPInfoGetFromConf", 2, &ZAFOLDAP_HOST::szBindDN},
        {"ZAFOLDAPInfoGetFromConf", 3, &ZAFOLDAP_HOST::szBaseDN},
        {"ZAFOLDAPLoginSuffixGet", 1, &ZAFOLDAP_HOST::szLoginSuffix},
        {"ZAFOLDAPSecretGet", 1, &ZAFOLDAP_HOST::szBindPasswd},
    };
    platform().On("ldapsearch").Exits(255).Always();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.function + std::to_string(row.nth));
        platform().Fills(row.function, row.nth);
        EXPECT_EQ(Read(), 0);
        EXPECT_EQ(host_.*row.field, std::string(1023, 'x'));
        ZAFOLDAPHostFree(&host_);
    }
}

TEST_P(BindConfig, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPHostInitByBindConfig(nullptr); });
}

TEST_P(BindConfig, GivesTheTransportSecurityAlone) {
    for (const int type : {0, 1, 2}) {
        platform().ssl_type = type;
        ZAFOLDAP_HOST host{};
        host.nSSLType = 5;
        EXPECT_EQ(ZAFOLDAPSSLGetByBindConfig(&host), 0);
        EXPECT_EQ(host.nSSLType, type);
    }
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPSSLGetByBindConfig(nullptr); });
}

}  // namespace zafo::foreign::connection_read_test
