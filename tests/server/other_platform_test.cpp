// SPDX-License-Identifier: Apache-2.0
//
// The own server and its backups on a platform that is not ours.
#include "tests/core/other_platform.h"

#include "tests/server/backup_fixture.h"

namespace zafo::server_test {
namespace {

using core_test::OtherPlatform;

class BackupsOnAnotherPlatform : public BackupTest {
  protected:
    int Set() {
        ZAFOLDAP_BACKUP_CONFIG record{};
        record.szDestDir = kBackups;
        record.blEnabled = 1;
        record.nMaxFile = 7;
        return ZAFOLDAPBackupConfigSet(&record);
    }

    OtherPlatform platform_;
};

TEST_F(BackupsOnAnotherPlatform, OtherDestinationNeedNotBeThereToBeRemoved) {
    platform_->absent_key_fails = true;
    EXPECT_EQ(Set(), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szDestDir, kBackups);
}

TEST_F(BackupsOnAnotherPlatform, WantOfMemoryBeforeSaysNothingAboutATaskThatIsNotThere) {
    platform_->absent_section_fails = true;
    QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(Set(), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OUT_OF_MEMORY);
}

TEST_F(BackupsOnAnotherPlatform, NewTaskIsAddedWithTheMap) {
    EXPECT_EQ(Set(), 0);
    ASSERT_THAT(platform_->sections, SizeIs(1));
    EXPECT_NE(platform_->sections[0], nullptr);
}

TEST_F(BackupsOnAnotherPlatform, PositiveResultsAreSuccessWhereATaskIsSaved) {
    platform_->positive_success = true;
    EXPECT_EQ(Set(), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szDestDir, kBackups);
    EXPECT_EQ(config_.nMaxFile, 7);
    EXPECT_EQ(config_.blEnabled, 1);
}

TEST_F(BackupsOnAnotherPlatform, PathOfAShareEndsInItsBuffer) {
    WriteTask("dest_share=Backups\n");
    platform_->fills_buffers = true;
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(config_.szDestDir, std::string(557, 'x'));
}

TEST_F(BackupsOnAnotherPlatform, EmptyRecordsFreeNothing) {
    ZAFOLDAP_PROGRESS progress{};
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress), 0);
    EXPECT_THAT(platform_->given_null, IsEmpty());
}

class ServerOnAnotherPlatform : public ServerTest {
  protected:
    int Load() {
        ZAFOLDAP_LDIF ldif{};
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
        ZAFOLDAPLdifTargetDN(&ldif, "cn=a,dc=x");
        ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "a");
        const int result = ZAFOLDAPServerSlapadd(&ldif);
        ZAFOLDAPLdifUnlink(&ldif);
        return result;
    }

    OtherPlatform platform_;
};

TEST_F(ServerOnAnotherPlatform, SuffixIsFoundByItsValue) {
    platform_->found_is_zero = true;
    WriteConf();
    EXPECT_EQ(Load(), 0);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(2), kBase);
}

TEST_F(ServerOnAnotherPlatform, SuffixEndsInItsBuffer) {
    platform_->fills_buffers = true;
    EXPECT_EQ(Load(), 0);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(2), std::string(1023, 'x'));
}

TEST_F(ServerOnAnotherPlatform, PositiveResultsAreSuccessWhereItsConfigurationIsWritten) {
    platform_->positive_success = true;
    Write(kTemplate, "suffix \"dc=t\"\nrootdn \"cn=t\"\n");
    parms_.szSuffix = "dc=x";
    parms_.szRootDN = "cn=admin,dc=x";
    parms_.szRootPW = nullptr;
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_THAT(ContentOf(kConf), HasSubstr("dc=x"));
}

TEST_F(ServerOnAnotherPlatform, DomainComponentEndsInItsBuffer) {
    platform_->fills_buffers = true;
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&host_), 0);
    EXPECT_THAT(LastChange(), HasSubstr("dc: " + std::string(1023, 'x') + "\n"));
}

}  // namespace
}  // namespace zafo::server_test
