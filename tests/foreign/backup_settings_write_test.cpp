// SPDX-License-Identifier: Apache-2.0
//
// The settings of scheduled backups: written under a lock, with a usable destination.
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/foreign/backup.h"
#include "zafoldap/backup.h"

namespace zafo::foreign::backup_settings_write_test {

// --- Writing ----------------------------------------------------------------------

class BackupConfigSet : public BackupTest {
  protected:
    void SetUp() override {
        BackupTest::SetUp();
        config_ = {};
    }
    void TearDown() override {
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
        BackupTest::TearDown();
    }
    void Schedule(int first) {
        config_.blEnabled = 1;
        for (int index = 0; index < 6; ++index)
            config_.schedule.rgField[index] = first + index;
    }
    size_t Writes() { return platform().CallsOf("QLIBCFileSetSection").size(); }
};
ZAFO_FOREIGN_SUITE(BackupConfigSet);

TEST_P(BackupConfigSet, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pConfig",
                          [] { return ZAFOLDAPBackupConfigSet(nullptr); });
    EXPECT_FALSE(Exists(kBackupLock));
}

TEST_P(BackupConfigSet, AddsASectionThatIsMissing) {
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(platform().Order({"QLIBCSzHashAlloc", "QLIBCFileGetSection", "QLIBCFileAddSection",
                                "QLIBCFileSetSection"}),
              (Strings{"QLIBCSzHashAlloc", "QLIBCFileGetSection", "QLIBCFileAddSection",
                       "QLIBCFileSetSection"}));
    const Call added = platform().CallsOf("QLIBCFileAddSection").at(0);
    EXPECT_EQ(added.arguments, (Strings{kBackupConf, "backup", "0x0"}));
    EXPECT_EQ(added.map, Pairs{});
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupConfigSet, AddsNoSectionThatExists) {
    Section() = {{"enabled", "yes"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_TRUE(platform().CallsOf("QLIBCFileAddSection").empty());
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}}));
}

TEST_P(BackupConfigSet, WritesTheSectionWithoutRenamingIt) {
    Section() = {{"enabled", "yes"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    ASSERT_EQ(Writes(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBCFileSetSection").at(0).arguments,
              (Strings{kBackupConf, "backup", "(null)", "0x0"}));
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"1024"});
}

TEST_P(BackupConfigSet, WritesTheSectionOfItsTask) {
    config_.szTask = "other";
    config_.nMaxFile = 3;
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section("other"), (Pairs{{"enabled", "no"}, {"max_file", "3"}}));
    EXPECT_EQ(platform().sections[kBackupConf].count("backup"), 0u);
}

TEST_P(BackupConfigSet, WritesAllSettings) {
    config_.szDestDir = "/tmp/backups";
    config_.nMaxFile = 7;
    Schedule(1);
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "yes"},
                                {"schedule", "1,2,3,4,5,6"},
                                {"dest_dir", "/tmp/backups"},
                                {"max_file", "7"}}));
}

TEST_P(BackupConfigSet, TakesEveryValueButZeroForEnabled) {
    for (int enabled : {1, 2}) {
        config_.blEnabled = enabled;
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
        EXPECT_EQ(Section()["enabled"], "yes") << enabled;
    }
}

TEST_P(BackupConfigSet, KeepsTheScheduleOfTheFileWhileItIsOff) {
    Section() = {{"enabled", "yes"}, {"schedule", "1,4,0,4,0,0"}};
    Schedule(7);
    config_.blEnabled = 0;
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"schedule", "1,4,0,4,0,0"}}));
}

TEST_P(BackupConfigSet, WritesNegativeNumbersAsTheyAre) {
    Schedule(-3);
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section()["schedule"], "-3,-2,-1,0,1,2");
}

TEST_P(BackupConfigSet, KeepsKeysThatItDoesNotKnow) {
    Section() = {{"enabled", "no"}, {"comment", "mine"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"comment", "mine"}}));
}

TEST_P(BackupConfigSet, KeepsTheDestinationWhenNoneIsGiven) {
    Section() = {{"enabled", "no"}, {"dest_share", "Gone"}, {"dest_dir", "/gone"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_share", "Gone"}, {"dest_dir", "/gone"}}));
    EXPECT_TRUE(platform().CallsOf("ZAFOSharePathGet").empty());
}

TEST_P(BackupConfigSet, ReplacesAFolderByAShare) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"enabled", "no"}, {"dest_dir", "/old"}};
    config_.szDestShare = "Backups";
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_share", "Backups"}}));
    EXPECT_EQ(platform().CallsOf("ZAFOSharePathGet").at(0).arguments, (Strings{"Backups", "558"}));
}

TEST_P(BackupConfigSet, ReplacesAShareByAFolder) {
    Section() = {{"enabled", "no"}, {"dest_share", "Old"}};
    config_.szDestDir = "/tmp/backups";
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_dir", "/tmp/backups"}}));
}

TEST_P(BackupConfigSet, SetsADestinationWhereThereWasNone) {
    Section() = {{"enabled", "no"}};
    config_.szDestDir = "/tmp/backups";
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_dir", "/tmp/backups"}}));
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"enabled", "no"}};
    config_.szDestShare = "Backups";
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_share", "Backups"}}));
}

TEST_P(BackupConfigSet, IgnoresTheFolderIfThereIsAShare) {
    platform().shares["Backups"] = "/tmp/backups";
    config_.szDestShare = "Backups";
    config_.szDestDir = "/does/not/exist";
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_share", "Backups"}}));
}

TEST_P(BackupConfigSet, RefusesADestinationThatCannotBeUsed) {
    WriteFile("/tmp/backups/file", "");
    ASSERT_EQ(symlink("/tmp/backups", "/tmp/backups/link"), 0);
    platform().shares = {{"File", "/tmp/backups/file"},
                         {"Link", "/tmp/backups/link"},
                         {"Missing", "/tmp/backups/missing"}};
    struct Case {
        const char *share;
        const char *folder;
    };
    for (const Case &row : {Case{"File", nullptr}, Case{"Link", nullptr}, Case{"Missing", nullptr},
                            Case{"Unknown", nullptr}, Case{"Unknown", "/tmp/backups"},
                            Case{nullptr, "/tmp/backups/file"}, Case{nullptr, "/tmp/backups/link"},
                            Case{nullptr, "/tmp/backups/missing"}}) {
        SCOPED_TRACE(row.share != nullptr ? row.share : row.folder);
        Section() = {{"enabled", "no"}, {"dest_dir", "/old"}};
        Stale();
        config_.szDestShare = row.share;
        config_.szDestDir = row.folder;
        config_.blEnabled = 1;
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
        EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_INVALID_SHARE);
        EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}, {"dest_dir", "/old"}}));
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
    }
    EXPECT_EQ(Writes(), 0u);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupConfigSet, LeavesTheNumberOfFilesUnlessItIsAboveZero) {
    for (int files : {0, -1}) {
        Section() = {{"enabled", "no"}, {"max_file", "5"}};
        config_.nMaxFile = files;
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
        EXPECT_EQ(Section()["max_file"], "5") << files;
    }
}

TEST_P(BackupConfigSet, HoldsAWritersLockFromReadingToWriting) {
    int looks = 0;
    for (const char *function :
         {"QLIBCFileGetSection", "QLIBCFileAddSection", "QLIBCFileSetSection"})
        platform().Watch(function, [&](const Call &) {
            ++looks;
            EXPECT_FALSE(CanBeLocked(LOCK_SH));
        });
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    EXPECT_EQ(looks, 3);
}

TEST_P(BackupConfigSet, FailsWhileAnotherProcessReadsOrWrites) {
    for (int kind : {LOCK_SH, LOCK_EX}) {
        Stale();
        const HeldLock other(kind);
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
        EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
    }
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetSection").empty());
    EXPECT_EQ(Writes(), 0u);
}

TEST_P(BackupConfigSet, FailsWithoutAMap) {
    platform().Fail("QLIBCSzHashAlloc");
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetSection").empty());
}

TEST_P(BackupConfigSet, SaysWhenTheSectionCannotBeAdded) {
    for (int result : {-1, -2}) {
        platform().Fail("QLIBCFileAddSection", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
        EXPECT_EQ(TakeLog(), Strings{"save backup conf [backup] failed! [0x0B00]"});
    }
    EXPECT_EQ(Writes(), 0u);
}

TEST_P(BackupConfigSet, SaysWhenTheSectionCannotBeWritten) {
    config_.szTask = "other";
    for (int result : {-1, -2}) {
        platform().Fail("QLIBCFileSetSection", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
        EXPECT_EQ(TakeLog(), Strings{"save backup conf [other] failed! [0x0B00]"});
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
    }
}

TEST_P(BackupConfigSet, TakesEveryResultThatIsNotNegative) {
    for (int result : {0, 1, 42}) {
        platform().sections.clear();
        platform().Returns("QLIBCFileAddSection", result);
        platform().Returns("QLIBCFileSetSection", result);
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0) << result;
    }
}

TEST_P(BackupConfigSet, SurvivesAnUnterminatedPath) {
    config_.szDestShare = "Backups";
    platform().shares["Backups"] = "/tmp/backups";
    platform().Fills("ZAFOSharePathGet");
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_INVALID_SHARE);
}

TEST_P(BackupConfigSet, WritesNothingWhenAValueCannotBeStored) {
    config_.szDestDir = "/tmp/backups";
    config_.nMaxFile = 3;
    Schedule(1);
    for (int nth = 1; nth <= 4; ++nth) {
        Section() = {{"enabled", "no"}};
        platform().Fail("QLIBCSzHashSetValue", nth);
        EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1) << nth;
        EXPECT_EQ(Section(), (Pairs{{"enabled", "no"}})) << nth;
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
    }
}

TEST_P(BackupConfigSet, ReadsBackWhatItWrote) {
    platform().shares["Backups"] = "/tmp/backups";
    config_.szTask = "other";
    config_.szDestShare = "Backups";
    config_.nMaxFile = 3;
    Schedule(2);
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    ZAFOLDAP_BACKUP_CONFIG read;
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&read, "other"), 0);
    EXPECT_STREQ(read.szDestShare, "Backups");
    EXPECT_STREQ(read.szDestDir, "/tmp/backups");
    EXPECT_EQ(read.nMaxFile, 3);
    EXPECT_EQ(read.blEnabled, 1);
    EXPECT_EQ(Numbers(read.schedule), (Strings{"2", "3", "4", "5", "6", "7"}));
    ZAFOLDAPBackupConfigFree(&read);
}

class BackupIsValidDest : public BackupTest {};
ZAFO_FOREIGN_SUITE(BackupIsValidDest);

TEST_P(BackupIsValidDest, TakesAFolderItself) {
    WriteFile("/tmp/backups/file", "", 0777);
    std::filesystem::create_directory("/tmp/backups/folder");
    ASSERT_EQ(symlink("folder", "/tmp/backups/link"), 0);
    ASSERT_EQ(symlink("nowhere", "/tmp/backups/dangling"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups"), 1);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups/folder"), 1);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/"), 1);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups/file"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups/link"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups/dangling"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/tmp/backups/missing"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest("/dev/null"), 0);
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest(""), 0);
    EXPECT_TRUE(platform().Calls().empty());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupIsValidDest, IsNeverTrueWithoutAPath) {
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest(nullptr), 0);
}

TEST_P(BackupIsValidDest, NeedsAllRights) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    struct Case {
        mode_t mode;
        int valid;
    };
    for (const Case &row :
         {Case{0777, 1}, Case{0773, 0}, Case{0775, 0}, Case{0776, 0}, Case{0770, 0}}) {
        ASSERT_EQ(chmod("/tmp/backups", row.mode), 0);
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
            _exit(ZAFOLDAPBackupIsValidDest("/tmp/backups"));
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) == 99) GTEST_SKIP() << "this root has one user only";
        EXPECT_EQ(WEXITSTATUS(status), row.valid) << std::oct << row.mode;
    }
}

}  // namespace zafo::foreign::backup_settings_write_test
