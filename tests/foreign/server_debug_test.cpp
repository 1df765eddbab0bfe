// SPDX-License-Identifier: Apache-2.0
//
// What the server's functions log while the debug switch is on.
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/foreign/home.h"
#include "tests/foreign/server.h"
#include "zafoldap/debug.h"
#include "zafoldap/ldif.h"
#include "zafoldap/server.h"

namespace zafo::foreign::server_debug_test {

class ServerDebug : public ServerTest {
  protected:
    ZAFOLDAP_SERVER_PARAM parameters_{kSuffix, "cn=admin,dc=x,dc=example", "secret", 1, 2, 3, 4, 5,
                                      6};

    void SetUp() override {
        ServerTest::SetUp();
        if (ZAFOLDAPDebugEnabled() != 1) GTEST_SKIP() << "the debug switch is off";
    }
    void TearDown() override {
        // Change files are kept while the switch is on.
        for (const Run &run : platform().Runs())
            for (const std::string &argument : run.argv)
                if (argument.rfind("/tmp/", 0) == 0 && argument.find(".ldif") != std::string::npos)
                    unlink(argument.c_str());
        ServerTest::TearDown();
    }
    // The log without the tools' command lines and output, which are tested elsewhere.
    bool Logged(const std::string &line) {
        const Strings log = Log();
        return std::find(log.begin(), log.end(), line) != log.end();
    }
    size_t Position(const std::string &line) {
        const Strings log = Log();
        return static_cast<size_t>(std::find(log.begin(), log.end(), line) - log.begin());
    }
};
ZAFO_FOREIGN_SUITE(ServerDebug);

TEST_P(ServerDebug, NamesEntriesThatExist) {
    for (const char *name :
         {"dc=x,dc=example", "cn=users,dc=x,dc=example", "sambaDomainName=x,dc=x,dc=example"})
        platform()
            .On("slapcat", std::string("(entryDN:=") + name + ")")
            .Prints(std::string("dn: ") + name + "\n");
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_TRUE(Logged("node [dc=x,dc=example] is already exist"));
    EXPECT_TRUE(Logged("node [cn=users,dc=x,dc=example] is already exist"));
    EXPECT_TRUE(Logged("node [sambaDomainName=x,dc=x,dc=example] is already exist"));
    EXPECT_FALSE(Logged("node [cn=groups,dc=x,dc=example] is already exist"));
}

TEST_P(ServerDebug, ShowsTheRandomNumbersAndTheIdentifier) {
    platform().On("openssl").Prints("00000001\n");
    platform().On("openssl").Prints("0000000a\n");
    platform().On("openssl").Prints("ffffffff\n");
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_TRUE(Logged("Generate SID[0] = 1"));
    EXPECT_TRUE(Logged("Generate SID[1] = 10"));
    EXPECT_TRUE(Logged("Generate SID[2] = 4294967295"));
    EXPECT_TRUE(Logged("SID: S-1-5-21-1-10-4294967295"));
    EXPECT_LT(Position("Generate SID[2] = 4294967295"), Position("SID: S-1-5-21-1-10-4294967295"));
}

TEST_P(ServerDebug, ShowsTheCommandLineAndTheOutputOfSlapadd) {
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif, "cn=a,dc=x");
    ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "a");
    const std::string path = ldif.szPath;
    platform().On("slapadd").Prints("first 100%s\n\n  second\nlast without an end").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif), -1);
    EXPECT_EQ(Log(),
              (Strings{"/usr/zafo/bin/slapadd -b 'dc=x,dc=example' -l '" + path + "'",
                       "first 100%s", "  second", "last without an end", "slapadd return 1"}));
    EXPECT_TRUE(platform().Runs().at(0).read_to_end);
}

TEST_P(ServerDebug, KeepsTheChangeFileOfSlapadd) {
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif, "cn=a,dc=x");
    ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "a");
    const std::string path = ldif.szPath;
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif), 0);
    EXPECT_EQ(FileText(path), "dn: cn=a,dc=x\ncn: a\n");
    EXPECT_STREQ(ldif.szPath, "");
}

TEST_P(ServerDebug, SaysWhereAccessRulesAreWritten) {
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], "gen tmp conf");
    EXPECT_EQ(log[1].rfind("write acl conf to /usr/zafo/etc/openldap/", 0), 0u) << log[1];
    EXPECT_NE(log[1], std::string("write acl conf to ") + kAclConf);
}

TEST_P(ServerDebug, SaysWhereEnablingWritesAccessRules) {
    platform().On("slappasswd").Prints("{CRYPT}hash\n");
    platform().Fail("ZAFOLDAPGenTmpConf", 1, -1, 0x0900);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_TRUE(Logged(std::string("write acl conf to ") + kAclConf));
    EXPECT_LT(Position(std::string("write acl conf to ") + kAclConf), Position("gen tmp conf"));
}

TEST_P(ServerDebug, HidesThePasswordThatIsHashed) {
    platform().On("slappasswd").Prints("{CRYPT}hash\n");
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters_), 0);
    EXPECT_EQ(Log(), Strings{"cmd: /usr/zafo/bin/slappasswd -h '{CRYPT}' -s '****' -c '$1$%.2s'"});
}

class DefaultAccountsDebug : public ServerDebug {
  protected:
    void SetUp() override {
        ServerDebug::SetUp();
        SaveConnection();
        AnswerConnection({"top", "posixGroup", "posixAccount"});
    }
    void Everything() {
        platform()
            .On("ldapsearch",
                [](const Strings &argv) {
                    for (const std::string &argument : argv)
                        if (argument.rfind("(&(objectClass=posix", 0) == 0) return true;
                    return false;
                })
            .Prints(Entry("cn=it is there,dc=x,dc=example", {}))
            .Always();
    }
};
ZAFO_FOREIGN_SUITE(DefaultAccountsDebug);

TEST_P(DefaultAccountsDebug, NameWhatExistsAlready) {
    Everything();
    platform().On("ldapmodify").Exits(20);
    platform().On("ldapmodify").Exits(20);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    for (const char *name : {"users", "Directory Operators", "administrators"})
        EXPECT_TRUE(Logged(std::string("default group: [") + name + "] is already exists, skip"));
    EXPECT_TRUE(Logged("default user: [admin] is already exists, skip"));
    for (const char *name : {"Directory Operators", "administrators"})
        EXPECT_TRUE(Logged(std::string("[admin] already in group [cn=") + name +
                           ",cn=groups,dc=x,dc=example]"));
}

class HomeDebug : public HomeTest {
  protected:
    void SetUp() override {
        HomeTest::SetUp();
        if (ZAFOLDAPDebugEnabled() != 1) GTEST_SKIP() << "the debug switch is off";
    }
};
ZAFO_FOREIGN_SUITE(HomeDebug);

TEST_P(HomeDebug, LogsNothingOfItsOwn) {
    EXPECT_EQ(ZAFOLDAPNFSMount("nas:/homes"), 0);
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    EXPECT_EQ(Log(), Strings{});
}

}  // namespace zafo::foreign::server_debug_test
