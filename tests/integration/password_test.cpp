// SPDX-License-Identifier: Apache-2.0
//
// Passwords with the real tools: whether the server accepts them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

using testing::MatchesRegex;

constexpr const char *kDN = "uid=zoe,cn=users,dc=example,dc=com";

class Password : public testing::Test {
  protected:
    Password() {
        rig::LdifEntry entry(kDN);
        entry.Add("objectClass", "account").Add("objectClass", "simpleSecurityObject");
        entry.Add("uid", "zoe").Add("userPassword", "first");
        directory_.Add(entry);
        ZAFOLDAPErrReset();
    }
    ~Password() override {
        directory_.Change(std::string("dn: ") + kDN + "\nchangetype: delete\n");
    }
    bool LetsIn(const std::string &password) { return directory_.Binds(kDN, password); }

    const ExampleDirectory &directory_ = ExampleDirectory::Get();
};

const std::vector<std::string> kPasswords = {
    "secret", "a b", "-w", "'\"$HOME\\`%n", "zw\xC3\xB6lf", std::string(100, 'p')};

TEST_F(Password, HashAcceptsThePassword) {
    for (const std::string &password : kPasswords) {
        char hash[16384];
        ASSERT_EQ(ZAFOLDAPEncryptPasswd(password.c_str(), hash, sizeof hash), 0) << password;
        EXPECT_THAT(hash, MatchesRegex(R"(\{CRYPT\}\$1\$[./0-9A-Za-z]{2}\$[./0-9A-Za-z]{22})"));
        directory_.Change(std::string("dn: ") + kDN +
                          "\nchangetype: modify\nreplace: userPassword\nuserPassword: " + hash +
                          "\n");
        EXPECT_TRUE(LetsIn(password)) << password;
        EXPECT_FALSE(LetsIn(password + "x"));
    }
}

TEST_F(Password, EveryHashHasItsOwnSalt) {
    std::set<std::string> hashes;
    for (int i = 0; i < 5; ++i) {
        char hash[64];
        ASSERT_EQ(ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash), 0);
        hashes.insert(hash);
    }
    EXPECT_GT(hashes.size(), 1u);
}

TEST_F(Password, EmptyOneIsRefusedByBothTools) {
    char hash[64];
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("", hash, sizeof hash), -1);
    EXPECT_EQ(ZAFOLDAPPasswd(Connection(), kDN, ""), -1);
    EXPECT_TRUE(LetsIn("first"));
}

TEST_F(Password, IsSetByTheServer) {
    for (const std::string &password : kPasswords) {
        EXPECT_EQ(ZAFOLDAPPasswd(Connection(), kDN, password.c_str()), 0) << password;
        EXPECT_TRUE(LetsIn(password)) << password;
    }
    EXPECT_FALSE(LetsIn("first"));
}

TEST_F(Password, IsSetOverEveryTransport) {
    const std::pair<const char *, int> transports[] = {
        {"localhost:389", 0}, {"localhost:636", 1}, {"localhost:389", 2}};
    for (const auto &[uri, ssl] : transports) {
        const std::string password = "over" + std::to_string(ssl);
        EXPECT_EQ(ZAFOLDAPPasswd(Connection(uri, ssl), kDN, password.c_str()), 0) << ssl;
        EXPECT_TRUE(LetsIn(password)) << ssl;
    }
}

TEST_F(Password, IsChangedByItsOwner) {
    Connection zoe;
    zoe.BindAs(kDN, "first");
    EXPECT_EQ(ZAFOLDAPPasswd(zoe, kDN, "second"), 0);
    EXPECT_TRUE(LetsIn("second"));
}

TEST_F(Password, IsNotSetForAnUnknownOrAnonymousUser) {
    EXPECT_EQ(ZAFOLDAPPasswd(Connection().BindAs(kDN, "wrong"), kDN, "second"), -1);
    EXPECT_EQ(ZAFOLDAPPasswd(Connection().BindAs(nullptr, nullptr), kDN, "second"), -1);
    EXPECT_EQ(ZAFOLDAPPasswd(Connection().BindAs(rig::kReaderDN, rig::kExampleUserPassword), kDN,
                             "second"),
              -1);
    EXPECT_EQ(ZAFOLDAPPasswd(Connection(), "uid=nobody,dc=example,dc=com", "second"), -1);
    EXPECT_TRUE(LetsIn("first"));
}

}  // namespace
}  // namespace zafo::test
