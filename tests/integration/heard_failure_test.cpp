// SPDX-License-Identifier: Apache-2.0
//
// Failures are reported on the standard error of the program that calls the library.
#include <filesystem>

#include "tests/integration/server_fixture.h"
#include "tests/integration/standard_error.h"

namespace zafo::test {
namespace {

using testing::HasSubstr;

class HeardFailure : public testing::Test {
  protected:
    static Connection &Directory() {
        static Connection connection(rig::VariantDirectory("posix"));
        return connection;
    }
    std::string Words() { return words_.Take(); }

    StandardError words_;
};

TEST_F(HeardFailure, WrongPasswordIsSeen) {
    Connection connection(rig::VariantDirectory("posix"));
    words_.Take();
    connection.BindAs("cn=admin,dc=example,dc=com", "wrong");
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(connection.Record()), -1);
    EXPECT_THAT(Words(), HasSubstr("Invalid credentials (49)"));
}

TEST_F(HeardFailure, PasswordThatCannotBeSetIsSeen) {
    Connection connection(rig::VariantDirectory("posix"));
    words_.Take();
    connection.BindAs("cn=admin,dc=example,dc=com", "wrong");
    EXPECT_EQ(ZAFOLDAPPasswd(connection, "cn=admin,dc=example,dc=com", "secret"), -1);
    EXPECT_THAT(Words(), HasSubstr("Invalid credentials (49)"));
}

TEST_F(HeardFailure, UnreachableServerIsSeen) {
    Connection connection(rig::VariantDirectory("posix"));
    words_.Take();
    ZAFOLDAPHostSet(connection.Record(), LDAP_HOST_ATTR_URI, "127.0.0.1:9");
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(connection.Record()), -1);
    EXPECT_THAT(Words(), HasSubstr("Can't contact LDAP server (-1)"));
}

TEST_F(HeardFailure, WrongFilterIsSeen) {
    const ZAFOLDAP_HOST *host = Directory();
    EXPECT_EQ(ZAFOLDAPBrowserGetFirstDN(host, "(uid=", nullptr, 0), -1);
    EXPECT_THAT(Words(), HasSubstr("Bad search filter (-7)"));
}

TEST_F(HeardFailure, MissingBaseIsSeenWhenUsersAreListed) {
    Connection connection(rig::VariantDirectory("posix"));
    words_.Take();
    ZAFOLDAPHostSet(connection.Record(), LDAP_HOST_ATTR_BASEDN, "ou=nowhere,dc=example,dc=com");
    StringList dns;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(connection.Record(), dns.Slot(), nullptr), -1);
    EXPECT_THAT(Words(), HasSubstr("No such object (32)"));
}

TEST_F(HeardFailure, MalformedDnIsSeen) {
    char value[64];
    EXPECT_EQ(
        ZAFOLDAPSearchGetValueByDN(Directory(), "nonsense", nullptr, "cn", value, sizeof value),
        -1);
    EXPECT_THAT(Words(), HasSubstr("Invalid DN syntax (34)"));
}

TEST_F(HeardFailure, RefusedChangesAreSeen) {
    const ZAFOLDAP_HOST *host = Directory();
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host, "cn=nobody,dc=example,dc=com"), -1);
    EXPECT_THAT(Words(), HasSubstr("No such object (32)"));
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(host, "users"), -1);
    EXPECT_THAT(Words(), HasSubstr("Already exists (68)"));
    EXPECT_EQ(ZAFOLDAPAtomicRemoveAdd(host, "cn=nobody,dc=example,dc=com", "cn", "1", "2"), -1);
    EXPECT_THAT(Words(), HasSubstr("No such object (32)"));
}

// With the configuration of a server that has never run.
class HeardDatabaseFailure : public HeardFailure {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        const ServerSettings settings;
        const ZAFOLDAP_SERVER_PARAM record = settings.Record();
        ASSERT_EQ(ZAFOLDAPServerConfSet(&record), 0);
        ASSERT_EQ(ZAFOLDAPServerACLConfGen(&record), 0);
        ASSERT_EQ(ZAFOLDAPServerDNIsExist("dc=home,dc=example"), 0);
        ASSERT_EQ(Words(), "");
    }
    ~HeardDatabaseFailure() override { ForgetServer(); }
};

TEST_F(HeardDatabaseFailure, DamagedDatabaseIsSeen) {
    WriteFile(std::string(kDatabase) + "/data.mdb", std::string(65536, 'x'));
    std::filesystem::permissions(std::string(kDatabase) + "/data.mdb",
                                 std::filesystem::perms(0666));
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("dc=home,dc=example"), 0);
    EXPECT_THAT(Words(), HasSubstr("bi_db_open failed"));
}

TEST_F(HeardDatabaseFailure, BrokenConfigurationIsSeen) {
    WriteFile(kConfiguration, FileContent(kConfiguration) + "\nno-such-directive x\n");
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("dc=home,dc=example"), 0);
    EXPECT_THAT(Words(), HasSubstr("no-such-directive"));
}

TEST_F(HeardDatabaseFailure, RefusedEntryIsSeen) {
    ZAFOLDAP_LDIF entries;
    ZAFOLDAPLdifInit(&entries, nullptr);
    ZAFOLDAPLdifTargetDN(&entries, "cn=orphan,dc=home,dc=example");
    ZAFOLDAPLdifAttr(&entries, "noSuchAttribute", "%s", "x");
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&entries), -1);
    EXPECT_THAT(Words(), HasSubstr("slapadd: "));
}

}  // namespace
}  // namespace zafo::test
