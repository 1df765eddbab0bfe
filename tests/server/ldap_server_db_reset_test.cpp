// SPDX-License-Identifier: Apache-2.0
//
// Emptying the database.
#include <sys/mount.h>

#include <filesystem>

#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

namespace fs = std::filesystem;

const std::string kDataFile = std::string(kData) + "/data.mdb";
const std::string kCopied = std::string(kData) + "/DB_CONFIG";

class DBReset : public ServiceTest {
  protected:
    DBReset() {
        Write(kSettings, "set_cachesize 0 1 1\n");
        Write(kRules, "access to * by * read\n");
        WriteConf();
        for (const char *name : {"/data.mdb", "/dn2id.bdb", "/.hidden", "/a folder/deep/file"})
            Write(kData + std::string(name), "old");
    }
    // The files left in the database folder.
    static Texts Left() { return FilesLike(std::string(kData) + "/"); }
};

TEST_F(DBReset, LeavesAnEmptyDatabaseAndNoConfiguration) {
    StartBefore();
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_THAT(Left(), ElementsAre("DB_CONFIG"));
    EXPECT_EQ(ContentOf(kCopied), "set_cachesize 0 1 1\n");
    EXPECT_FALSE(fs::exists(kConf));
    EXPECT_FALSE(fs::exists(kRules));
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(DBReset, LeavesTheServerStopped) {
    StartBefore();
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_EQ(Pid(), 0);
    EXPECT_THAT(Tools(), ElementsAre("server-stopped"));
}

TEST_F(DBReset, EmptyDatabaseMayBeResetToo) {
    fs::remove_all(kData);
    fs::create_directories(kData);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_THAT(Left(), ElementsAre("DB_CONFIG"));
}

TEST_F(DBReset, TouchesNothingElse) {
    const std::string schema = "/usr/zafo/etc/openldap/schema.test";
    Write(schema, "x");
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_TRUE(fs::exists(schema));
    EXPECT_TRUE(fs::exists(kSettings));
    fs::remove(schema);
}

TEST_F(DBReset, ServerThatCannotBeStoppedKeepsItsDatabase) {
    fs::remove("/usr/zafo/etc.defaults/service/ldap-server.conf");
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("stop server daemon failed."));
    EXPECT_EQ(QLIBCErrGet(), 0xD200);
    EXPECT_THAT(Left(), SizeIs(4));
    EXPECT_TRUE(fs::exists(kConf));
    EXPECT_TRUE(fs::exists(kRules));
}

TEST_F(DBReset, DatabaseThatCannotBeEmptiedIsLogged) {
    const std::string mounted = std::string(kData) + "/mounted";
    fs::create_directories(mounted);
    ASSERT_EQ(mount("none", mounted.c_str(), "tmpfs", 0, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_EQ(umount(mounted.c_str()), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("run cmd [/bin/rm -rf /usr/zafo/etc/openldap/data//*] failed."));
    EXPECT_FALSE(fs::exists(kCopied));
    EXPECT_TRUE(fs::exists(kConf));
}

TEST_F(DBReset, MissingSettingsAreLogged) {
    fs::remove(kSettings);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("run cmd [/bin/cp /usr/zafo/etc.defaults/openldap/data/DB_CONFIG "
                            "/usr/zafo/etc/openldap/data//] failed."));
    EXPECT_THAT(Left(), IsEmpty());
    EXPECT_TRUE(fs::exists(kConf));
}

TEST_F(DBReset, ConfigurationThatIsMissingIsLogged) {
    fs::remove(kConf);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("remove /usr/zafo/etc/openldap/slapd.conf failed."));
    EXPECT_TRUE(fs::exists(kRules));
    EXPECT_THAT(Left(), ElementsAre("DB_CONFIG"));
}

TEST_F(DBReset, AccessRulesThatAreMissingAreLogged) {
    fs::remove(kRules);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("remove /usr/zafo/etc/openldap/slapd-acls.conf failed."));
    EXPECT_FALSE(fs::exists(kConf));
}

}  // namespace
}  // namespace zafo::server_test
