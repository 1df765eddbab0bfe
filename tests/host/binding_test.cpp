// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "platform/ldap.h"
#include "tests/host/owners.h"

namespace {

using zafo::test::WriteFile;

const char *const kNslcdConf = "/usr/zafo/etc/nslcd.conf";
const char *const kClientConf = "/usr/zafo/etc/ldapclient.conf";
const char *const kSecretFile = "/usr/zafo/etc/private/ldap.secret";

class Binding : public testing::Test {
  protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const char *path : {kNslcdConf, kClientConf, kSecretFile}) {
            std::filesystem::remove_all(path);
        }
        QLIBCErrSet(0);
    }
};

TEST_F(Binding, NeedsAUri) {
    EXPECT_EQ(ZAFOLDAPIsBinded(0), 0);
    WriteFile(kNslcdConf, "base dc=a\n");
    EXPECT_EQ(ZAFOLDAPIsBinded(0), 0);
    WriteFile(kNslcdConf, "#uri ldap://a\n");
    EXPECT_EQ(ZAFOLDAPIsBinded(0), 0);
    WriteFile(kNslcdConf, "URI ldap://a\n");
    EXPECT_EQ(ZAFOLDAPIsBinded(0), 1);
    EXPECT_EQ(ZAFOLDAPIsBinded(1), 0);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST_F(Binding, TransportSecurityFollowsSslThenTheFirstUri) {
    const std::pair<const char *, int> rows[] = {
        {"uri ldap://a\n", 0},
        {"uri ldaps://a\n", 1},
        {"uri LDAPS://a ldap://b\n", 1},
        {"uri ldap://a ldaps://b\n", 0},
        {"uri ldap://a\nssl on\n", 1},
        {"uri ldap://a\nssl off\n", 0},
        {"uri ldaps://a\nssl off\n", 1},
        {"uri ldaps://a\nssl start_tls\n", 2},
        {"ssl START_TLS\nuri ldap://a\n", 2},
        {"ssl yes\n", 1},
        {"ssl no\n", 0},
        {"ssl true\n", 1},
        {"ssl false\n", 0},
        {"", 0},
    };
    EXPECT_EQ(ZAFOLDAPSSLTypeGetFromNslcd(), 0);
    for (const auto &[text, expected] : rows) {
        WriteFile(kNslcdConf, text);
        EXPECT_EQ(ZAFOLDAPSSLTypeGetFromNslcd(), expected) << text;
    }
}

std::optional<std::string> Secret() {
    char buffer[64];
    if (ZAFOLDAPSecretGet(buffer, sizeof buffer) != 0) return {};
    return buffer;
}

TEST_F(Binding, TheSecretIsBindpwElseTheSecretFilesFirstLine) {
    WriteFile(kSecretFile, "from file \nsecond\n");
    EXPECT_EQ(Secret(), "from file ");
    WriteFile(kNslcdConf, "uri ldap://a\n");
    EXPECT_EQ(Secret(), "from file ");
    WriteFile(kNslcdConf, "bindpw p#w \"x\\y\n");
    EXPECT_EQ(Secret(), "p#w \"x\\y");
}

TEST_F(Binding, NoSecretIsAnOpenFailure) {
    EXPECT_EQ(Secret(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    WriteFile(kSecretFile, "\n");
    QLIBCErrSet(0);
    EXPECT_EQ(Secret(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    std::filesystem::remove(kSecretFile);
    std::filesystem::create_directory(kSecretFile);
    EXPECT_EQ(Secret(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0A00);
}

TEST_F(Binding, ASecretThatDoesNotFitIsNeverCut) {
    WriteFile(kSecretFile, std::string(64, 's'));
    EXPECT_EQ(Secret(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    WriteFile(kNslcdConf, "bindpw " + std::string(64, 's') + "\n");
    QLIBCErrSet(0);
    EXPECT_EQ(Secret(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_EQ(ZAFOLDAPSecretGet(nullptr, 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

std::optional<std::string> Suffix() {
    char buffer[32];
    if (ZAFOLDAPLoginSuffixGet(buffer, sizeof buffer) != 0) return {};
    return buffer;
}

TEST_F(Binding, TheLoginSuffixIsSetOrTheBaseDnsDomain) {
    EXPECT_EQ(Suffix(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    WriteFile(kNslcdConf, "base ou=x,dc=example,dc=com\n");
    EXPECT_EQ(Suffix(), "example.com");
    WriteFile(kClientConf, "other=1\n");
    EXPECT_EQ(Suffix(), "example.com");
    WriteFile(kClientConf, "login_suffix=corp\n");
    EXPECT_EQ(Suffix(), "corp");
}

TEST_F(Binding, ALoginSuffixMustExistAndFit) {
    WriteFile(kNslcdConf, "base o=example\n");
    EXPECT_EQ(Suffix(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    WriteFile(kNslcdConf, "base dc=" + std::string(32, 'x') + "\n");
    EXPECT_EQ(Suffix(), std::nullopt);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_EQ(ZAFOLDAPLoginSuffixGet(nullptr, 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(SslText, NamesEveryTypeAndReadsItBack) {
    const std::pair<int, const char *> rows[] = {{0, "off"}, {1, "on"}, {2, "start_tls"}};
    for (const auto &[type, text] : rows) {
        char buffer[16];
        EXPECT_EQ(ZAFOLDAPSSLToString(type, buffer, sizeof buffer), 0);
        EXPECT_STREQ(buffer, text);
        EXPECT_EQ(ZAFOLDAPSSLToType(buffer), type);
    }
}

TEST(SslText, ReadsOtherWordsToo) {
    const std::pair<const char *, int> rows[] = {
        {"ON", 1}, {"yes", 1}, {"True", 1},  {"1", 1}, {"StartTLS", 2}, {"START_TLS", 2},
        {"no", 0}, {"0", 0},   {"false", 0}, {"", 0},  {"on ", 0},      {"nonsense", 0}};
    for (const auto &[text, type] : rows)
        EXPECT_EQ(ZAFOLDAPSSLToType(text), type) << text;
    EXPECT_EQ(ZAFOLDAPSSLToType(nullptr), 0);
}

TEST(SslText, RefusesOtherTypesAndSmallBuffers) {
    char buffer[9];
    for (const int type : {-1, 3, 100}) {
        QLIBCErrSet(0);
        EXPECT_EQ(ZAFOLDAPSSLToString(type, buffer, sizeof buffer), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    EXPECT_EQ(ZAFOLDAPSSLToString(2, buffer, 9), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_EQ(ZAFOLDAPSSLToString(2, nullptr, 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

}  // namespace
