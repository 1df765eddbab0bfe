// SPDX-License-Identifier: Apache-2.0
//
// Filling a connection record from saved connections, from the client binding and from the server's
// own description.
#include <signal.h>

#include "platform/crypt.h"
#include "platform/error.h"
#include "tests/core/connection_fixture.h"
#include "tests/core/without_tool.h"
#include "tests/rig/cipher.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class InitByBrowserConfig : public ConnectionTest {
  protected:
    int Run(const char *section = nullptr) {
        return ZAFOLDAPHostInitByBrowserConfig(&record_, section);
    }
    static std::string Enciphered(const char *clear) {
        char cipher[1369] = "";
        EXPECT_EQ(QLIBCryptSzEncrypt(clear, cipher, sizeof cipher), 0);
        return cipher;
    }
};

TEST_F(InitByBrowserConfig, FillsTheRecordAndAsksTheServer) {
    SKIP_WITHOUT_CIPHER();
    Write(kBrowserConf,
          "[root]\nuri=server:389\nbasedn=dc=x\nbinddn=cn=a,dc=x\n"
          "loginsuffix=x.org\nssl=start_tls\nbindpw=" +
              Enciphered("p w") + "\n");
    ScriptWholeServer();
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("server:389", "dc=x", "cn=a,dc=x", "p w", "x.org"));
    EXPECT_EQ(record_.nSSLType, 2);
    EXPECT_EQ(record_.nServerType, 1);
    EXPECT_EQ(record_.nSchema, 0x0020u);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(InitByBrowserConfig, AbsentKeysAreUnset) {
    Write(kBrowserConf, "[ann]\nuri=server\n");
    ScriptWholeServer();
    EXPECT_EQ(Run("ann"), 1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("server", "-", "-", "-", "-"));
    EXPECT_EQ(record_.nSSLType, 0);
}

TEST_F(InitByBrowserConfig, ReadsBackWhatWasSaved) {
    SKIP_WITHOUT_CIPHER();
    host_.szBindDN = "cn=a";
    host_.szBindPasswd = "";
    host_.szLoginSuffix = " suffix ";
    host_.nSSLType = 1;
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), 0);
    ScriptWholeServer();
    EXPECT_EQ(Run("ann"), 1);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("server", "dc=example,dc=com", "cn=a", "", " suffix "));
    EXPECT_EQ(record_.nSSLType, 1);
}

struct MissingSection {
    const char *name, *text;  // text NULL: no file
};

TEST_F(InitByBrowserConfig, MissingOrUnreadableSectionIsNotFound) {
    for (const MissingSection &row :
         {MissingSection{"no file", nullptr}, MissingSection{"empty file", ""},
          MissingSection{"other section", "[ann]\nuri=x\n"},
          MissingSection{"empty section", "[root]\n[ann]\nuri=x\n"},
          MissingSection{"damaged file", "[root]\nuri=x\nno pair\n"}}) {
        SCOPED_TRACE(row.name);
        RemoveSettings();
        if (row.text != nullptr) Write(kBrowserConf, row.text);
        SetStaleCodes();
        EXPECT_EQ(Run(), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x2200);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
        EXPECT_EQ(ZAFOLDAPHostFree(&record_), 0);
        EXPECT_EQ(ContentOf(kBrowserConf), row.text != nullptr ? row.text : "");
    }
    EXPECT_THAT(LibraryMessages(), IsEmpty()) << "logged while debugging only";
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(InitByBrowserConfig, PasswordThatCannotBeDecipheredFails) {
    SKIP_WITHOUT_CIPHER();
    const std::string good = Enciphered("secret");
    for (const std::string &cipher : {std::string("garbage"), good.substr(1), good + "x"}) {
        SCOPED_TRACE(cipher);
        Write(kBrowserConf, "[root]\nuri=server\nbindpw=" + cipher + "\n");
        log_.Clear();
        EXPECT_EQ(Run(), -1);
        EXPECT_THAT(log_.Messages(),
                    ElementsAre(MatchesRegex("ldap_host_init\\.cpp:[0-9]+ Decrypt password failed! "
                                             "\\[0x0F00\\]")));
        EXPECT_STREQ(record_.szUri, "server") << "what was set before stays";
        ZAFOLDAPHostFree(&record_);
    }
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(InitByBrowserConfig, ServerThatCannotBeClassifiedStillGivesTheRecord) {
    Write(kBrowserConf, "[root]\nuri=server\nbasedn=dc=x\n");
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("server", "dc=x", "-", "-", "-"));
    EXPECT_EQ(ZAFOLDAPErrGet(), 255);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(InitByBrowserConfig, ServerWithoutSchemaStillGivesTheRecord) {
    Write(kBrowserConf, "[root]\nuri=server\nbasedn=dc=x\n");
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(record_.nServerType, 1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

struct Binding {
    const char *name, *nslcd;
    Texts fields;
    int ssl;
};

class InitByBindConfig : public ConnectionTest {
  protected:
    int Run() { return ZAFOLDAPHostInitByBindConfig(&record_); }
};

TEST_F(InitByBindConfig, ReadsTheVariantsOfTheClientBinding) {
    const std::vector<Binding> bindings = {
        {"plain",
         "uri ldap://host1\nbase dc=example,dc=com\n",
         {"host1", "dc=example,dc=com", "-", "-", "example.com"},
         0},
        {"ldaps in capitals",
         "uri LDAPS://host1:636\nbase dc=example,dc=com\n",
         {"host1:636", "dc=example,dc=com", "-", "-", "example.com"},
         1},
        {"bind and password",
         "uri ldap://host1/\nbase dc=a\nbinddn cn=x,dc=a\nbindpw p w\nssl start_tls\n",
         {"host1/", "dc=a", "cn=x,dc=a", "p w", "a"},
         2},
        {"two servers",
         "uri ldap://a ldap://b\nbase dc=a\n",
         {"a ldap://b", "dc=a", "-", "-", "a"},
         0},
        {"no scheme", "uri host1\nbase dc=a\n", {"host1", "dc=a", "-", "-", "a"}, 0},
        {"other scheme", "uri ldapi:///\nbase dc=a\n", {"ldapi:///", "dc=a", "-", "-", "a"}, 0},
        {"comments and blanks",
         "# uri ldap://no\n\nuri   lDaP://yes\nbase\tdc=a\nssl on\n",
         {"yes", "dc=a", "-", "-", "a"},
         1},
    };
    for (const Binding &binding : bindings) {
        SCOPED_TRACE(binding.name);
        tools_.Reset();
        ScriptWholeServer();
        Write(kNslcdConf, binding.nslcd);
        EXPECT_EQ(Run(), 1);
        EXPECT_EQ(FieldsOf(record_), binding.fields);
        EXPECT_EQ(record_.nSSLType, binding.ssl);
        EXPECT_EQ(record_.nServerType, 1);
        EXPECT_EQ(record_.nSchema, 0x0020u);
        ZAFOLDAPHostFree(&record_);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(InitByBindConfig, PasswordComesFromTheSecretFileAsWell) {
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\n");
    Write(kSecretFile, "from the file\n");
    ScriptWholeServer();
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(record_.szBindPasswd, "from the file");
}

TEST_F(InitByBindConfig, ExplicitLoginSuffixComesFirst) {
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\n");
    Write(kClientConf, "login_suffix=corp.example\n");
    ScriptWholeServer();
    EXPECT_EQ(Run(), 1);
    EXPECT_STREQ(record_.szLoginSuffix, "corp.example");
}

TEST_F(InitByBindConfig, MissingFileFails) {
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_THAT(log_.Messages(),
                ElementsAre(MatchesRegex(
                    "ldap_host_init\\.cpp:[0-9]+ ZAFOLDAPInfoGetFromConf "
                    "\\[/usr/zafo/etc/nslcd\\.conf\\] \\[uri\\] failed\\. \\[0x0900\\]")));
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(InitByBindConfig, ValueThatDoesNotFitFailsByItsKey) {
    for (const char *key : {"uri", "binddn", "base"}) {
        SCOPED_TRACE(key);
        Write(kNslcdConf, std::string(key) + " " + std::string(2000, 'x') + "\n");
        log_.Clear();
        EXPECT_EQ(Run(), -1);
        EXPECT_THAT(
            LoggedTexts(),
            ElementsAre(MatchesRegex("ZAFOLDAPInfoGetFromConf \\[/usr/zafo/etc/nslcd\\.conf\\] "
                                     "\\[" +
                                     std::string(key) + "\\] failed\\. \\[0x0E00\\]")));
        ZAFOLDAPHostFree(&record_);
    }
}

TEST_F(InitByBindConfig, WithoutLoginSuffixTheServerIsNotSupported) {
    Write(kNslcdConf, "uri ldap://h\nbase o=example\n");
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65537);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(MatchesRegex("get login suffix failed\\[0x[0-9A-F]{4}\\]")));
}

TEST_F(InitByBindConfig, SecretThatDoesNotFitFails) {
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\n");
    Write(kSecretFile, std::string(2000, 's') + "\n");
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(MatchesRegex("ZAFOLDAPSecretGet failed\\. \\[0x0E00\\]")));
}

TEST_F(InitByBindConfig, UnreachableServerStillGivesTheRecord) {
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\n");
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(record_.szUri, "h");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(InitByBindConfig, AbsentKeysAreUnset) {
    Write(kNslcdConf, "ssl start_tls\n");
    Write(kClientConf, "login_suffix=corp.example\n");
    EXPECT_EQ(Run(), 0) << "without an address no server can be asked";
    EXPECT_THAT(FieldsOf(record_), ElementsAre("-", "-", "-", "-", "corp.example"));
    EXPECT_EQ(record_.nSSLType, 2);
}

TEST_F(InitByBindConfig, TransportSecurityAloneCanBeRead) {
    Write(kNslcdConf, "uri ldaps://h\n");
    EXPECT_EQ(ZAFOLDAPSSLGetByBindConfig(&host_), 0);
    EXPECT_EQ(host_.nSSLType, 1);
    std::filesystem::remove(kNslcdConf);
    EXPECT_EQ(ZAFOLDAPSSLGetByBindConfig(&host_), 0);
    EXPECT_EQ(host_.nSSLType, 0);
}

class Schema : public ConnectionTest {};

TEST_F(Schema, DNComesFromTheRootDSE) {
    tools_.On("ldapsearch")
        .IgnoreSignals()
        .Output("dn:\nsubschemaSubentry: cn=Subschema\nsubschemaSubentry: cn=Other\n\n");
    char dn[64];
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(&host_, dn, sizeof dn), 0);
    EXPECT_STREQ(dn, "cn=Subschema");
    EXPECT_THAT(tools_.Calls().at(0).argv,
                ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-s",
                            "baseObject", "subschemaSubentry"));
}

TEST_F(Schema, DNIsCutToTheBuffer) {
    tools_.On("ldapsearch").Output("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    char dn[] = "########";
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(&host_, dn, 4), 0);
    EXPECT_STREQ(dn, "cn=");
    EXPECT_EQ(dn[4], '#');
}

TEST_F(Schema, NoDNOrAFailingToolFails) {
    char dn[64];
    tools_.On("ldapsearch").Output("dn:\n\n");
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(&host_, dn, sizeof dn), -1);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), -2);
    tools_.Reset();
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(&host_, dn, sizeof dn), -1);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), -2);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

TEST_F(Schema, ToolThatCannotBeStartedFails) {
    const WithoutTool without("ldapsearch");
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), -2);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

TEST_F(Schema, SchemaThatCannotBeReadFails) {
    tools_.On("ldapsearch").Output("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), -3);
    EXPECT_EQ(host_.nSchema, 0u);
}

TEST_F(Schema, IsReadFromTheSubschemaEntry) {
    ScriptSchema("");
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), 0);
    EXPECT_THAT(tools_.Calls().at(1).argv,
                ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-b",
                            "cn=Subschema", "-s", "baseObject", "objectclasses"));
}

struct Definition {
    const char *text;
    unsigned int bits;
};

TEST_F(Schema, BitsFollowQuotedNamesAnywhereInADefinition) {
    const Definition definitions[] = {
        {"( 2.5.6.0 NAME 'top' ABSTRACT )", 0x0001},
        {"( 1 NAME 'domain' )", 0x0002},
        {"( 1 NAME 'extensibleObject' )", 0x0004},
        {"( 1 NAME 'organizationalPerson' )", 0x0008},
        {"( 1 NAME 'person' )", 0x0010},
        {"( 1 NAME 'posixAccount' )", 0x0020},
        {"( 1 NAME 'posixGroup' )", 0x0040},
        {"( 1 NAME 'inetOrgPerson' )", 0x0080},
        {"( 1 NAME 'shadowAccount' )", 0x0100},
        {"( 1 NAME 'apple-user' )", 0x0200},
        {"( 1 NAME 'apple-group' )", 0x0400},
        {"( 1 NAME 'sambaSamAccount' )", 0x0800},
        {"( 1 NAME 'sambaGroupMapping' )", 0x1000},
        {"( 1 NAME 'mine' SUP 'person' )", 0x0010},  // a superior class counts
        {"( 1 NAME 'mine' SUP person )", 0},         // but not unquoted
        {"( 1 NAME ( 'a' 'posixGroup' 'top' ) )", 0x0041},
        {"( 1 NAME 'Person' )", 0},
        {"( 1 NAME 'PERSON' )", 0},
        {"( 1 NAME 'residentialPerson' )", 0},
        {"( 1 NAME 'person2' DESC 'a top person' )", 0},
        {"( 1 NAME \"person\" )", 0},
        {"'top''domain'", 0x0003},
    };
    for (const Definition &row : definitions) {
        SCOPED_TRACE(row.text);
        tools_.Reset();
        ScriptSchema(std::string("objectClasses: ") + row.text + "\n");
        host_.nSchema = 0;
        EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), 0);
        EXPECT_EQ(host_.nSchema, row.bits);
    }
}

TEST_F(Schema, BitsAreAddedAndNeverCleared) {
    ScriptSchema(
        "objectClasses: ( 1 NAME 'top' )\nobjectclasses: ( 1 NAME 'person' )\n"
        "attributeTypes: ( 1 NAME 'domain' )\n");
    host_.nSchema = 0x1000;
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), 0);
    EXPECT_EQ(host_.nSchema, 0x1011u);
}

}  // namespace
}  // namespace zafo::core_test
