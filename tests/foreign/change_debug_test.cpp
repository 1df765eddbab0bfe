// SPDX-License-Identifier: Apache-2.0
//
// What changes, connections, passwords, counters and new accounts log while the debug switch is on.
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::change_debug_test {

constexpr const char *kPath = "/tmp/foreign_debug.ldif";
const std::string kBase = "dc=x,dc=example";
const std::string kConf = "/usr/zafo/etc/private/ldapbrowser.conf";

// The log line of a search over Host's default connection.
std::string SearchLine(const std::string &rest) {
    return "search command: /usr/zafo/bin/ldapsearch -LLL -x -H 'ldap://ldap.x.example' -D "
           "'cn=admin,dc=x,dc=example' -w '****' " +
           rest;
}

class ChangeDebug : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1);
        WriteChange(&ldif_, kPath);
        Stale();
    }
    void TearDown() override {
        ZAFOLDAPLdifClose(&ldif_);
        for (const Run &run : platform().RunsOf("ldapmodify"))
            unlink(run.argv.at(6).c_str());
        unlink(kPath);
        ChangeTest::TearDown();
    }
    bool Logged(const std::string &line) {
        const Strings log = Log();
        return std::find(log.begin(), log.end(), line) != log.end();
    }
    std::string ModifyLine(const std::string &start, const std::string &bind,
                           const std::string &file) {
        return "/usr/zafo/bin/ldapmodify " + start + " -D '" + bind + "' -f '" + file +
               "' -w '****'";
    }
    ZAFOLDAP_LDIF ldif_{};
    Host host_;
};
ZAFO_FOREIGN_SUITE(ChangeDebug);

TEST_P(ChangeDebug, KeepsTheFileAndForgetsItsName) {
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_EQ(FileText(kPath), "dn: dc=a\nchangetype: modify\nreplace: cn\ncn: b\n");
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ChangeDebug, LogsTheCommandWithoutItsPassword) {
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(TakeLog(), Strings{ModifyLine("-x -H 'ldap://ldap.x.example'",
                                            "cn=admin,dc=x,dc=example", kPath)});
    EXPECT_EQ(platform().Runs().at(0).argv.back(), "secret");
    EXPECT_TRUE(Exists(kPath));
    EXPECT_STREQ(ldif_.szPath, "");
    WriteChange(&ldif_, kPath);
    Host host;
    host.ssl = 2;
    host.bind_dn.reset();
    host.password.reset();
    EXPECT_EQ(ZAFOLDAPModify(host, &ldif_, 1), 0);
    EXPECT_EQ(TakeLog(), Strings{ModifyLine("-ax -ZH 'ldap://ldap.x.example'", "", kPath)});
    WriteChange(&ldif_, kPath);
    Host secure;
    secure.ssl = 1;
    EXPECT_EQ(ZAFOLDAPModify(secure, &ldif_, 0), 0);
    EXPECT_EQ(Log(), Strings{ModifyLine("-x -H 'ldaps://ldap.x.example'",
                                        "cn=admin,dc=x,dc=example", kPath)});
}

TEST_P(ChangeDebug, LogsWhatTheToolPrintsLineByLine) {
    platform().On("ldapmodify").Prints("modifying entry \"dc=a\"\n\n\n100%s\n last").Exits(68);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
    EXPECT_EQ(LibraryError(), 68);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 5U);
    EXPECT_EQ(Strings(log.begin() + 1, log.end()),
              (Strings{"modifying entry \"dc=a\"", "100%s", " last", "ldapmodify return 68"}));
    EXPECT_TRUE(platform().Runs().at(0).read_to_end);
    EXPECT_TRUE(Exists(kPath));
}

TEST_P(ChangeDebug, LogsAToolThatWasKilledOrNotStarted) {
    platform().On("ldapmodify").Dies(9);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
    ASSERT_EQ(Log().size(), 2U);
    EXPECT_EQ(TakeLog()[1], "ldapmodify terminate abnormal 9");
    WriteChange(&ldif_, kPath);
    platform().On("ldapmodify").CannotStart();
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
    ASSERT_EQ(Log().size(), 2U);
    EXPECT_EQ(TakeLog()[1], "Execute [] failed!");
    EXPECT_TRUE(Exists(kPath));
    EXPECT_STREQ(ldif_.szPath, "");
}

TEST_P(ChangeDebug, LogsNothingOfAFileWithoutAttributeLines) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_TRUE(Exists(kPath));
    EXPECT_STREQ(ldif_.szPath, "");
}

TEST_P(ChangeDebug, LogsTheSearchesOfValueHelpers) {
    char value[8];
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(host_, "cn=a", "(cn=*)", "cn", value, sizeof value), 0);
    EXPECT_EQ(TakeLog(), Strings{SearchLine("-b 'cn=a' '(cn=*)' 'cn'")});
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(host_, "cn=a", nullptr, "cn", value, sizeof value), -1);
    EXPECT_EQ(Log(), (Strings{SearchLine("-b 'cn=a' 'cn'"), "ldapsearch return 32"}));
}

TEST_P(ChangeDebug, LogsASavedConnectionThatDoesNotExist) {
    ZAFOLDAP_HOST host{};
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, "ann"), -1);
    EXPECT_EQ(PlatformError(), 0x2200);
    EXPECT_EQ(Log(), Strings{"conf not found: " + kConf});
    ZAFOLDAPHostFree(&host);
}

TEST_P(ChangeDebug, LogsAServerThatCannotBeAsked) {
    platform().sections[kConf]["ann"] = {{"uri", "srv"}, {"basedn", "dc=s"}};
    ZAFOLDAP_HOST host{};
    platform().On("ldapsearch").Exits(49);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, "ann"), 0);
    EXPECT_EQ(Last(Log()), "check server type failed, ldap_invalid_credentials (49)");
    ZAFOLDAPHostFree(&host);
    platform().On("ldapsearch", "cn=zafoconf").Prints(Entry("cn=zafoconf,dc=s", {}));
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, "ann"), 0);
    EXPECT_EQ(Last(Log()), "get support schema failed, ldap_insufficient_access (50)");
    ZAFOLDAPHostFree(&host);
}

TEST_P(ChangeDebug, LogsNoSuchThingOfTheClientBinding) {
    platform().confs["/usr/zafo/etc/nslcd.conf"] = {{"uri", "ldap://srv"}, {"base", "dc=s"}};
    ZAFOLDAP_HOST host{};
    platform().On("ldapsearch").Exits(49);
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&host), 0);
    for (const std::string &line : Log())
        EXPECT_EQ(line.find("check server type"), std::string::npos) << line;
    ZAFOLDAPHostFree(&host);
    TakeLog();
    platform().On("ldapsearch", "cn=zafoconf").Prints(Entry("cn=zafoconf,dc=s", {}));
    platform().On("ldapsearch", "subschemaSubentry").Exits(50);
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&host), 0);
    for (const std::string &line : Log())
        EXPECT_EQ(line.find("support schema"), std::string::npos) << line;
    ZAFOLDAPHostFree(&host);
}

TEST_P(ChangeDebug, LogsNoClearPasswordWhenHashing) {
    char hash[64];
    platform().On("slappasswd").Prints("{CRYPT}x\n");
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("geheim", hash, sizeof hash), 0);
    EXPECT_EQ(Log(), Strings{"cmd: /usr/zafo/bin/slappasswd -h '{CRYPT}' -s '****' -c '$1$%.2s'"});
}

TEST_P(ChangeDebug, LogsTheWholeCommandThatSetsAPassword) {
    EXPECT_EQ(ZAFOLDAPPasswd(host_, "uid=ann,dc=x", "-neu"), 0);
    EXPECT_EQ(TakeLog(), Strings{"cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://ldap.x.example' -D "
                                 "'cn=admin,dc=x,dc=example' -w 'secret' -s -neu 'uid=ann,dc=x'"});
    Host host;
    host.ssl = 2;
    host.password = "";
    EXPECT_EQ(ZAFOLDAPPasswd(host, "uid=%s", ""), 0);
    EXPECT_EQ(Log(), Strings{"cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://ldap.x.example' -Z -D "
                             "'cn=admin,dc=x,dc=example' -w '' -s '' 'uid=%s'"});
}

TEST_P(ChangeDebug, StopsTheLineOfACommandBeforeWhatDoesNotFit) {
    host_.bind_dn = "cn=" + std::string(2000, 'b');
    EXPECT_EQ(ZAFOLDAPPasswd(host_, "uid=ann,dc=x", "neu"), 0);
    ASSERT_EQ(Log().size(), 1U);
    const std::string start = "cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://ldap.x.example' -D";
    EXPECT_EQ(Log()[0].substr(0, start.size()), start);
    EXPECT_LE(Log()[0].size(), 5U + 1023U);
    EXPECT_EQ(Log()[0].find("neu"), std::string::npos);
}

TEST_P(ChangeDebug, LogsASwapThatFailed) {
    platform().On("ldapmodify").Exits(16);
    EXPECT_EQ(ZAFOLDAPAtomicRemoveAdd(host_, "dc=a", "n", "1", "2"), -1);
    EXPECT_EQ(Last(Log()), "ZAFOLDAPModify failed [dc=a,n,1,2] [0x7777]");
}

int Refuse(const ZAFOLDAP_HOST *, uint64_t *, uint64_t *, void *) {
    return -1;
}

TEST_P(ChangeDebug, LogsACheckThatGaveUp) {
    uint64_t value = 0;
    platform().On("ldapsearch").Prints(Entry("dc=a", {{"n", "1"}}));
    EXPECT_EQ(ZAFOLDAPAtomicIncr(host_, "dc=a", "n", &value, Refuse, nullptr), -1);
    EXPECT_EQ(Log(), (Strings{SearchLine("-b 'dc=a' 'n'"), "Check failed."}));
}

class NewAccountDebug : public ChangeDebug {
  protected:
    void SetUp() override {
        ChangeDebug::SetUp();
        host_.schema = 0x1 | 0x20 | 0x40;
        user_.szName = name_;
        user_.szPasswd = password_;
        user_.pw_uid = 2001;
        user_.pw_gid = 100;
        group_.szName = name_;
        group_.nGid = 3001;
    }
    int CreateUser() { return ZAFOLDAPBrowserUserCreate(host_, &user_, nullptr, nullptr); }
    int CreateCryptedUser() {
        return ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &user_, nullptr, nullptr);
    }
    int CreateGroup() {
        return ZAFOLDAPBrowserGroupCreate(host_, &group_, nullptr, nullptr, nullptr);
    }
    void Found(const std::string &part) {
        platform().On("ldapsearch", part).Prints(Entry("cn=other", {}));
    }
    char name_[4] = "ann";
    char password_[8] = "geheim";
    ZAFOUSER user_{};
    ZAFOGROUP group_{};
};
ZAFO_FOREIGN_SUITE(NewAccountDebug);

TEST_P(NewAccountDebug, LogsTakenNames) {
    Found("(uid=ann)");
    EXPECT_EQ(CreateUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "user ann exists in db.");
    Found("(uid=ann)");
    EXPECT_EQ(CreateCryptedUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "user [ann] exists in db.");
    Found("(cn=ann)");
    EXPECT_EQ(CreateGroup(), -1);
    EXPECT_EQ(Last(TakeLog()), "group [ann] exists in db.");
}

TEST_P(NewAccountDebug, LogsTakenNumbers) {
    Found("(uidNumber=2001)");
    EXPECT_EQ(CreateUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "uid number 2001 exists in db.");
    Found("(uidNumber=4294967294)");
    user_.pw_uid = 4294967294U;
    EXPECT_EQ(CreateCryptedUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "uid number [4294967294] exists in db.");
    Found("(gidNumber=3001)");
    EXPECT_EQ(CreateGroup(), -1);
    EXPECT_EQ(Last(TakeLog()), "gid number [3001] exists in db.");
}

TEST_P(NewAccountDebug, LogsAPasswordThatCannotBeHashed) {
    platform().On("slappasswd").CannotStart(0x0900);
    EXPECT_EQ(CreateUser(), -1);
    EXPECT_EQ(Last(Log()), "ZAFOLDAPEncryptPassword failed. [ann] [0x0900]");
}

TEST_P(NewAccountDebug, LogsEntriesThatAreRefused) {
    platform().On("slappasswd").Prints("{CRYPT}x\n");
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(CreateUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "ZAFOLDAPModify failed [ann], ldap_already_exists (68)");
    Stale();
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(CreateCryptedUser(), -1);
    EXPECT_EQ(Last(TakeLog()), "ZAFOLDAPModify failed [ann] [0x7777]");
    platform().On("ldapmodify").Exits(12);
    EXPECT_EQ(CreateGroup(), -1);
    EXPECT_EQ(Last(TakeLog()), "ZAFOLDAPModify failed [ann] [0x7777]");
}

TEST_P(NewAccountDebug, LogsTheNewPasswordAndNoHash) {
    platform().On("slappasswd").Prints("{CRYPT}x\n");
    EXPECT_EQ(CreateUser(), 0);
    EXPECT_TRUE(Logged("cmd: /usr/zafo/bin/slappasswd -h '{CRYPT}' -s '****' -c '$1$%.2s'"));
    EXPECT_TRUE(
        Logged("cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://ldap.x.example' -D "
               "'cn=admin,dc=x,dc=example' -w 'secret' -s 'geheim' "
               "'uid=ann,cn=users,dc=x,dc=example'"));
    for (const std::string &line : Log())
        EXPECT_EQ(line.find("{CRYPT}x"), std::string::npos) << line;
    EXPECT_TRUE(Exists(platform().RunsOf("ldapmodify").at(0).argv.at(6)));
}

}  // namespace zafo::foreign::change_debug_test
