// SPDX-License-Identifier: Apache-2.0
//
// The settings of scheduled backups: reading and freeing.
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/foreign/backup.h"
#include "zafoldap/backup.h"

namespace zafo::foreign::backup_settings_read_test {

// --- Reading ----------------------------------------------------------------------

class BackupConfigGet : public BackupTest {
  protected:
    void TearDown() override {
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
        BackupTest::TearDown();
    }
    void ExpectDefaults(const char *task) {
        EXPECT_STREQ(config_.szTask, task);
        EXPECT_EQ(config_.szDestShare, nullptr);
        EXPECT_EQ(config_.szDestDir, nullptr);
        EXPECT_EQ(config_.blEnabled, 0);
        EXPECT_EQ(config_.nMaxFile, 10);
        EXPECT_EQ(Numbers(config_.schedule), Strings(6, "0"));
        EXPECT_STREQ(config_.schedule.szCommand, "");
    }
};
ZAFO_FOREIGN_SUITE(BackupConfigGet);

TEST_P(BackupConfigGet, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pConfig",
                          [] { return ZAFOLDAPBackupConfigGet(nullptr, nullptr); });
    EXPECT_FALSE(Exists(kBackupLock));
}

TEST_P(BackupConfigGet, ReadsAllSettings) {
    Section() = {{"enabled", "yes"},
                 {"schedule", "2,23,59,20,6,5"},
                 {"dest_dir", "/tmp/backups"},
                 {"max_file", "7"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.blEnabled, 1);
    EXPECT_EQ(Numbers(config_.schedule), (Strings{"2", "23", "59", "20", "6", "5"}));
    EXPECT_STREQ(config_.schedule.szCommand, kBackupCommand);
    EXPECT_EQ(config_.szDestShare, nullptr);
    EXPECT_STREQ(config_.szDestDir, "/tmp/backups");
    EXPECT_EQ(config_.nMaxFile, 7);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(BackupConfigGet, ReadsTheSectionOfTheTask) {
    Section("other") = {{"enabled", "yes"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, "other"), 0);
    EXPECT_STREQ(config_.szTask, "other");
    EXPECT_EQ(config_.blEnabled, 1);
    ASSERT_EQ(platform().CallsOf("QLIBCFileGetSection").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").at(0).arguments,
              (Strings{kBackupConf, "other"}));
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, CopiesTheNameOfTheTask) {
    char task[] = "other";
    Section("other") = {{"enabled", "no"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, task), 0);
    memset(task, 'x', sizeof task - 1);
    EXPECT_STREQ(config_.szTask, "other");
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, AsksForAListAndAMapOf1024) {
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    ASSERT_EQ(platform().CallsOf("QLIBCSzListAlloc").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"1024"});
    ASSERT_EQ(platform().CallsOf("QLIBCSzHashAlloc").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"1024"});
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, GivesDefaultsWithoutASection) {
    for (const char *task : {static_cast<const char *>(nullptr), "backup", "other"}) {
        memset(&config_, 0x5A, sizeof config_);
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, task), 0);
        ExpectDefaults(task == nullptr ? "backup" : task);
        EXPECT_NE(config_.plistBuffer, nullptr);
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
        ZAFOLDAPBackupConfigFree(&config_);
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupConfigGet, GivesDefaultsWhenTheSectionCannotBeRead) {
    for (int result : {0, -1, -2}) {
        platform().Fail("QLIBCFileGetSection", 1, result, 0x0900);
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0) << result;
        ExpectDefaults("backup");
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, TakesOnlyYesForEnabled) {
    const std::pair<const char *, int> values[] = {
        {"yes", 1}, {"YES", 1}, {"Yes", 1},  {"yEs", 1},  {"no", 0}, {"NO", 0},
        {"", 0},    {"1", 0},   {"true", 0}, {"yes ", 0}, {"ye", 0}, {"yess", 0}};
    for (const auto &[value, enabled] : values) {
        Section() = {{"enabled", value}};
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
        EXPECT_EQ(config_.blEnabled, enabled) << value;
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, IsOffWithoutTheKey) {
    Section() = {{"max_file", "3"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(config_.blEnabled, 0);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, HasADefaultScheduleWhereTheSectionExists) {
    Section() = {{"enabled", "no"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(Numbers(config_.schedule), (Strings{"1", "4", "0", "4", "0", "0"}));
    EXPECT_STREQ(config_.schedule.szCommand, kBackupCommand);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, ReadsSixNumbers) {
    const std::pair<const char *, Strings> values[] = {
        {"1,2,3,4,5,6", {"1", "2", "3", "4", "5", "6"}},
        {" 1, 2, 3, 4, 5, 6", {"1", "2", "3", "4", "5", "6"}},
        {"-1,-2,-3,-4,-5,-6", {"-1", "-2", "-3", "-4", "-5", "-6"}},
        {"01,002,3,4,5,6", {"1", "2", "3", "4", "5", "6"}},
        {"1,2,3,4,5,6,7", {"1", "2", "3", "4", "5", "6"}},
        {"1,2,3,4,5,6 and more", {"1", "2", "3", "4", "5", "6"}},
        {"2147483647,0,0,0,0,0", {"2147483647", "0", "0", "0", "0", "0"}},
    };
    for (const auto &[value, numbers] : values) {
        Section() = {{"schedule", value}};
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0) << value;
        EXPECT_EQ(Numbers(config_.schedule), numbers) << value;
        EXPECT_STREQ(config_.schedule.szCommand, kBackupCommand);
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, RefusesFewerThanSixNumbers) {
    for (const char *value : {"", "1", "1,2,3,4,5", "1,2,3,4,5,", "a,2,3,4,5,6", "1 2 3 4 5 6",
                              "1,2,3,4,5,x", "1,,3,4,5,6", "1;2;3;4;5;6", "%s%n"}) {
        Section() = {{"schedule", value}};
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1) << value;
        EXPECT_EQ(TakeLog(), Strings{std::string("invalid schedule setting: [") + value + "]"});
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
        ZAFOLDAPBackupConfigFree(&config_);
    }
    ExpectSlotsUntouched();
}

TEST_P(BackupConfigGet, KeepsWhatWasSetBeforeABadSchedule) {
    Section() = {{"enabled", "yes"}, {"schedule", "1,2"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1);
    EXPECT_NE(config_.plistBuffer, nullptr);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.blEnabled, 1);
    EXPECT_EQ(config_.nMaxFile, 10);
    EXPECT_EQ(config_.szDestShare, nullptr);
    EXPECT_EQ(config_.szDestDir, nullptr);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, FindsThePathOfAShare) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"dest_share", "Backups"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szDestShare, "Backups");
    EXPECT_STREQ(config_.szDestDir, "/tmp/backups");
    ASSERT_EQ(platform().CallsOf("ZAFOSharePathGet").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOSharePathGet").at(0).arguments, (Strings{"Backups", "558"}));
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, KeepsAShareThatHasNoPath) {
    Section() = {{"dest_share", "Gone"}, {"max_file", "3"}};
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOSharePathGet", 1, result, 0x2200);
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
        EXPECT_STREQ(config_.szDestShare, "Gone");
        EXPECT_EQ(config_.szDestDir, nullptr);
        EXPECT_EQ(config_.nMaxFile, 3);
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, TakesTheShareWhenThereIsAFolderAsWell) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"dest_share", "Backups"}, {"dest_dir", "/elsewhere"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szDestShare, "Backups");
    EXPECT_STREQ(config_.szDestDir, "/tmp/backups");
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, DoesNotFallBackToTheFolderOfALostShare) {
    Section() = {{"dest_share", "Gone"}, {"dest_dir", "/elsewhere"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_STREQ(config_.szDestShare, "Gone");
    EXPECT_EQ(config_.szDestDir, nullptr);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, TerminatesAnUnterminatedPathInItsBuffer) {
    Section() = {{"dest_share", "Backups"}};
    platform().shares["Backups"] = "/tmp/backups";
    platform().Fills("ZAFOSharePathGet");
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(config_.szDestDir, std::string(557, 'x'));
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, KeepsTenFilesByDefault) {
    const std::pair<const char *, int> values[] = {{"1", 1},    {"12", 12},  {"0", 10}, {"-3", 10},
                                                   {"abc", 10}, {"", 10},    {" 5", 5}, {"8x", 8},
                                                   {"007", 7},  {"0x10", 10}};
    for (const auto &[value, files] : values) {
        Section() = {{"max_file", value}};
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
        EXPECT_EQ(config_.nMaxFile, files) << value;
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, SurvivesNumbersThatAreTooBig) {
    Section() = {{"schedule", "99999999999999999999,-99999999999999999999,0,0,0,0"},
                 {"max_file", "99999999999999999999"}};
    const int result = ZAFOLDAPBackupConfigGet(&config_, nullptr);
    EXPECT_TRUE(result == 0 || result == -1) << result;
    ZAFOLDAPBackupConfigFree(&config_);
    TakeLog();
}

TEST_P(BackupConfigGet, OwnsStringsThatMoveWithItsList) {
    const std::string name(300, 's');
    const std::string path = "/" + std::string(500, 'p');
    platform().shares[name] = path;
    Section(std::string(2000, 't')) = {{"dest_share", name}};
    ASSERT_EQ(ZAFOLDAPBackupConfigGet(&config_, std::string(2000, 't').c_str()), 0);
    EXPECT_EQ(config_.szTask, std::string(2000, 't'));
    EXPECT_EQ(config_.szDestShare, name);
    EXPECT_EQ(config_.szDestDir, path);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, SharesTheLockWithReaders) {
    const HeldLock reader(LOCK_SH);
    Section() = {{"enabled", "yes"}};
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(config_.blEnabled, 1);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, HoldsAReadersLockWhileItReadsAndNoLonger) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"dest_share", "Backups"}};
    int looks = 0;
    platform().Watch("QLIBCFileGetSection", [&](const Call &) {
        ++looks;
        EXPECT_TRUE(CanBeLocked(LOCK_SH));
        EXPECT_FALSE(CanBeLocked(LOCK_EX));
    });
    platform().Watch("ZAFOSharePathGet", [&](const Call &) {
        ++looks;
        EXPECT_TRUE(CanBeLocked(LOCK_EX));
    });
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(looks, 2);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, FailsWhileAnotherProcessWrites) {
    Section() = {{"enabled", "yes"}};
    {
        const HeldLock writer(LOCK_EX);
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1);
    }
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetSection").empty());
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.nMaxFile, 10);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, FailsIfTheLockIsNotAFile) {
    std::filesystem::create_directories(std::string(kBackupLock) + "/full");
    // A folder owned by root is in the way.
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    ZAFOLDAPBackupConfigFree(&config_);
    std::filesystem::remove_all(kBackupLock);
}

TEST_P(BackupConfigGet, MakesThePrivateLockFileAndLeavesIt) {
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    ZAFOLDAPBackupConfigFree(&config_);
    struct stat status;
    ASSERT_EQ(stat(kBackupLock, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_P(BackupConfigGet, FailsWithoutAList) {
    platform().Fail("QLIBCSzListAlloc");
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1);
    EXPECT_EQ(config_.plistBuffer, nullptr);
    EXPECT_EQ(config_.nMaxFile, 10);
    ZAFOLDAPBackupConfigFree(&config_);
}

TEST_P(BackupConfigGet, FailsWhereItsListLosesATextAndMixesUpNone) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"dest_share", "Backups"}};
    ASSERT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    const int looks = static_cast<int>(platform().CallsOf("QLIBCSzListGet").size());
    ZAFOLDAPBackupConfigFree(&config_);
    ASSERT_GE(looks, 3);
    for (int nth = 1; nth <= looks; ++nth) {
        platform().Fail("QLIBCSzListGet", nth);
        EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1) << nth;
        EXPECT_EQ(PlatformError(), QLIB_ERR_OUT_OF_MEMORY) << nth;
        const auto is_its_own = [](const char *text, const std::string &own) {
            return text == nullptr || text == own;
        };
        EXPECT_TRUE(is_its_own(config_.szTask, "backup")) << nth;
        EXPECT_TRUE(is_its_own(config_.szDestShare, "Backups")) << nth;
        EXPECT_TRUE(is_its_own(config_.szDestDir, "/tmp/backups")) << nth;
        ZAFOLDAPBackupConfigFree(&config_);
    }
}

TEST_P(BackupConfigGet, FailsCleanlyAtEveryCallThatFails) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"enabled", "yes"}, {"schedule", "1,2,3,4,5,6"}, {"dest_share", "Backups"}};
    ASSERT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    ZAFOLDAPBackupConfigFree(&config_);
    std::map<std::string, int> calls;
    for (const Call &call : platform().Calls())
        ++calls[call.function];
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzHashAlloc", "QLIBCSzListPush"}) {
        for (int nth = 1; nth <= calls[function]; ++nth) {
            platform().Fail(function, nth, -1, 0x0200);
            EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), -1) << function << nth;
            EXPECT_TRUE(CanBeLocked(LOCK_EX));
            ZAFOLDAPBackupConfigFree(&config_);
        }
    }
}

// --- Freeing and the destination ----------------------------------------------------

class BackupConfigFree : public BackupTest {};
ZAFO_FOREIGN_SUITE(BackupConfigFree);

TEST_P(BackupConfigFree, ZeroesTheRecord) {
    platform().shares["Backups"] = "/tmp/backups";
    Section() = {{"enabled", "yes"}, {"dest_share", "Backups"}};
    ASSERT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    const ZAFOLDAP_BACKUP_CONFIG empty{};
    EXPECT_EQ(memcmp(&config_.schedule, &empty.schedule, sizeof empty.schedule), 0);
    EXPECT_EQ(config_.plistBuffer, nullptr);
    EXPECT_EQ(config_.szTask, nullptr);
    EXPECT_EQ(config_.szDestShare, nullptr);
    EXPECT_EQ(config_.szDestDir, nullptr);
    EXPECT_EQ(config_.blEnabled, 0);
    EXPECT_EQ(config_.nMaxFile, 0);
}

TEST_P(BackupConfigFree, TakesNoRecordAndAnEmptyOne) {
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(nullptr), 0);
    config_ = {};
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

}  // namespace zafo::foreign::backup_settings_read_test
