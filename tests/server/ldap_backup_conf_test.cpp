// SPDX-License-Identifier: Apache-2.0
//
// The settings of backup tasks.
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/server/backup_fixture.h"

namespace zafo::server_test {
namespace {

namespace fs = std::filesystem;

std::vector<int> Numbers(const ZAFOSCHEDULE &schedule) {
    return {std::begin(schedule.rgField), std::end(schedule.rgField)};
}

const std::vector<int> kNothing(6, 0);

class BackupConf : public BackupTest {
  protected:
    int Get(const char *task = nullptr) {
        ZAFOLDAPBackupConfigFree(&config_);
        return ZAFOLDAPBackupConfigGet(&config_, task);
    }
    void ExpectDefaults(const char *task) {
        EXPECT_STREQ(config_.szTask, task);
        EXPECT_EQ(config_.szDestShare, nullptr);
        EXPECT_EQ(config_.szDestDir, nullptr);
        EXPECT_EQ(config_.blEnabled, 0);
        EXPECT_EQ(Numbers(config_.schedule), kNothing);
        EXPECT_STREQ(config_.schedule.szCommand, "");
        EXPECT_EQ(config_.nMaxFile, 10);
    }
    static void WriteShare(const std::string &path) {
        Write(kShares, "[Backups]\n    path = " + path + "\n");
    }
    static std::string Conf() { return core_test::ContentOf(kBackupConf); }
};

// --- Reading ------------------------------------------------------------------

TEST_F(BackupConf, WithoutAFileHoldsTheDefaults) {
    EXPECT_EQ(Get(), 0);
    ExpectDefaults("backup");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(BackupConf, WithoutTheTasksSectionHoldsTheDefaults) {
    Write(kBackupConf, "[other]\nenabled=yes\nschedule=1,2,3,4,5,6\nmax_file=3\n");
    EXPECT_EQ(Get(), 0);
    ExpectDefaults("backup");
}

TEST_F(BackupConf, OfAFileThatCannotBeReadHoldsTheDefaults) {
    fs::create_directory(kBackupConf);
    EXPECT_EQ(Get(), 0);
    ExpectDefaults("backup");
}

TEST_F(BackupConf, HoldsWhatTheSectionSays) {
    WriteTask("enabled=yes\nschedule=2,23,30,0,0,6\ndest_dir=/volume1/backups\nmax_file=3\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.szDestShare, nullptr);
    EXPECT_STREQ(config_.szDestDir, "/volume1/backups");
    EXPECT_EQ(config_.blEnabled, 1);
    EXPECT_EQ(Numbers(config_.schedule), (std::vector<int>{2, 23, 30, 0, 0, 6}));
    EXPECT_STREQ(config_.schedule.szCommand, kCommand);
    EXPECT_EQ(config_.nMaxFile, 3);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(BackupConf, OfAnotherTaskComesFromItsSection) {
    Write(kBackupConf, "[backup]\nmax_file=3\n[weekly]\nmax_file=52\n");
    EXPECT_EQ(Get("weekly"), 0);
    EXPECT_STREQ(config_.szTask, "weekly");
    EXPECT_EQ(config_.nMaxFile, 52);
}

TEST_F(BackupConf, IsEnabledByYesAlone) {
    const std::map<std::string, int> kTexts = {{"yes", 1},  {"YES", 1}, {"yEs", 1}, {"no", 0},
                                               {"true", 0}, {"1", 0},   {"y", 0},   {"\"\"", 0}};
    for (const auto &[text, enabled] : kTexts) {
        WriteTask("enabled=" + text + "\n");
        EXPECT_EQ(Get(), 0) << text;
        EXPECT_EQ(config_.blEnabled, enabled) << text;
    }
}

TEST_F(BackupConf, WithoutAScheduleIsDailyAtFour) {
    WriteTask("enabled=no\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(Numbers(config_.schedule), (std::vector<int>{1, 4, 0, 4, 0, 0}));
    EXPECT_STREQ(config_.schedule.szCommand, kCommand);
}

TEST_F(BackupConf, OfFewerThanSixNumbersIsRefused) {
    for (const std::string text : {"1,4,0,4,0", "1", "daily", "1;4;0;4;0;0", "1,4,,4,0,0"}) {
        WriteTask("enabled=yes\ndest_dir=/d\nschedule=" + text + "\n");
        log_.Clear();
        EXPECT_EQ(Get(), -1) << text;
        EXPECT_THAT(LoggedTexts(), ElementsAre("invalid schedule setting: [" + text + "]"));
        EXPECT_STREQ(config_.szTask, "backup") << "what was read before stays";
        EXPECT_EQ(config_.blEnabled, 1);
        EXPECT_EQ(config_.szDestDir, nullptr);
    }
    ExpectSlotsUntouched();
}

TEST_F(BackupConf, NegativeNumbersAndBlanksOfAScheduleAreRead) {
    WriteTask("schedule=-1, 2, 3, 4, 5, -6\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(Numbers(config_.schedule), (std::vector<int>{-1, 2, 3, 4, 5, -6}));
}

TEST_F(BackupConf, ShareGivesTheFolder) {
    WriteShare(kBackups);
    WriteTask("dest_share=Backups\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szDestShare, "Backups");
    EXPECT_STREQ(config_.szDestDir, kBackups);
}

TEST_F(BackupConf, ShareGoesBeforeAFolder) {
    WriteShare(kBackups);
    WriteTask("dest_dir=/volume1\ndest_share=Backups\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szDestShare, "Backups");
    EXPECT_STREQ(config_.szDestDir, kBackups);
}

TEST_F(BackupConf, ShareThatDoesNotExistGivesNoFolder) {
    WriteTask("dest_dir=/volume1\ndest_share=Gone\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szDestShare, "Gone");
    EXPECT_EQ(config_.szDestDir, nullptr);
}

TEST_F(BackupConf, NumberOfFilesThatMakesNoSenseIsTen) {
    const std::map<std::string, int> kTexts = {
        {"1", 1},     {"007", 7},   {"0", 10},    {"-3", 10},
        {"many", 10}, {"\"\"", 10}, {"5 old", 5}, {"99999999999", 2147483647}};
    for (const auto &[text, files] : kTexts) {
        WriteTask("max_file=" + text + "\n");
        EXPECT_EQ(Get(), 0) << text;
        EXPECT_EQ(config_.nMaxFile, files) << text;
    }
}

TEST_F(BackupConf, IsNotReadWhileItIsWritten) {
    WriteTask("max_file=3\n");
    const int writer = ZAFOLDAPLock(kConfLock, LOCK_EX);
    EXPECT_EQ(Get(), -1);
    ExpectSlots(-65542, kStalePlatformCode);
    ExpectDefaults("backup");
    ZAFOLDAPUnLock(writer);
    EXPECT_EQ(Get(), 0);
}

TEST_F(BackupConf, IsReadByTwoAtATime) {
    const int reader = ZAFOLDAPLock(kConfLock, LOCK_SH);
    EXPECT_EQ(Get(), 0);
    ZAFOLDAPUnLock(reader);
}

TEST_F(BackupConf, LongTextsAreWhole) {
    const std::string share(600, 's');
    const std::string folder = "/" + std::string(3000, 'd');
    WriteTask("dest_dir=" + folder + "\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(config_.szDestDir, folder);
    WriteTask("dest_share=" + share + "\n");
    EXPECT_EQ(Get(share.c_str()), 0);
    EXPECT_EQ(config_.szTask, share);
}

TEST_F(BackupConf, IsFreedTwiceAndAsNothing) {
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(config_.plistBuffer, nullptr);
    EXPECT_EQ(config_.szTask, nullptr);
    EXPECT_EQ(config_.nMaxFile, 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(&config_), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigFree(nullptr), 0);
}

// --- Writing ------------------------------------------------------------------

class SavingBackupConf : public BackupConf {
  protected:
    SavingBackupConf() {
        const int kSchedule[] = {1, 5, 15, 0, 0, 0};
        std::copy(std::begin(kSchedule), std::end(kSchedule), record_.schedule.rgField);
        record_.blEnabled = 1;
        record_.szDestDir = kBackups;
        record_.nMaxFile = 7;
    }
    int Set() { return ZAFOLDAPBackupConfigSet(&record_); }
    void ExpectRefusedDestination() {
        WriteTask("enabled=no\nmax_file=2\n");
        const std::string before = Conf();
        SetStaleCodes();
        EXPECT_EQ(Set(), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), -65545);
        EXPECT_EQ(Conf(), before);
        EXPECT_THAT(LibraryMessages(), IsEmpty());
    }

    ZAFOLDAP_BACKUP_CONFIG record_{};
};

TEST_F(SavingBackupConf, IsReadBack) {
    EXPECT_EQ(Set(), 0);
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.blEnabled, 1);
    EXPECT_EQ(Numbers(config_.schedule), (std::vector<int>{1, 5, 15, 0, 0, 0}));
    EXPECT_STREQ(config_.szDestDir, kBackups);
    EXPECT_EQ(config_.nMaxFile, 7);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlots(kStaleLdapCode, 0x2200);  // the section did not exist
}

TEST_F(SavingBackupConf, KeepsWhatItDoesNotKnow) {
    Write(kBackupConf, "# ours\n[other]\nmax_file=1\n[backup]\nnote=keep me\nmax_file=2\n");
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("# ours\n[other]\nmax_file=1\n[backup]\nnote=keep me\n"));
    EXPECT_THAT(Conf(), HasSubstr("max_file=7"));
}

TEST_F(SavingBackupConf, GoesIntoTheSectionOfItsTask) {
    record_.szTask = "weekly";
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("[weekly]"));
    EXPECT_THAT(Conf(), testing::Not(HasSubstr("[backup]")));
}

TEST_F(SavingBackupConf, SwitchedOffKeepsTheSchedule) {
    EXPECT_EQ(Set(), 0);
    record_.blEnabled = 0;
    record_.schedule = {};
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("enabled=no"));
    EXPECT_THAT(Conf(), HasSubstr("schedule=1,5,15,0,0,0"));
}

TEST_F(SavingBackupConf, AnyNumberButZeroEnables) {
    record_.blEnabled = -1;
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("enabled=yes"));
}

TEST_F(SavingBackupConf, NumbersOfTheScheduleAreWhole) {
    std::fill(std::begin(record_.schedule.rgField), std::end(record_.schedule.rgField),
              -2147483647 - 1);
    EXPECT_EQ(Set(), 0);
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(Numbers(config_.schedule), std::vector<int>(6, -2147483647 - 1));
}

TEST_F(SavingBackupConf, ShareReplacesTheFolder) {
    EXPECT_EQ(Set(), 0);
    WriteShare(kBackups);
    record_.szDestShare = "Backups";
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("dest_share=Backups"));
    EXPECT_THAT(Conf(), testing::Not(HasSubstr("dest_dir")));
}

TEST_F(SavingBackupConf, FolderReplacesTheShare) {
    WriteTask("dest_share=Backups\n");
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr(std::string("dest_dir=") + kBackups));
    EXPECT_THAT(Conf(), testing::Not(HasSubstr("dest_share")));
}

TEST_F(SavingBackupConf, WithoutADestinationKeepsTheOldOne) {
    WriteTask("dest_share=Gone\ndest_dir=/nowhere\n");
    record_.szDestDir = nullptr;
    EXPECT_EQ(Set(), 0);
    EXPECT_THAT(Conf(), HasSubstr("dest_share=Gone\ndest_dir=/nowhere\n"));
}

TEST_F(SavingBackupConf, NumberOfFilesBelowOneKeepsTheOldOne) {
    WriteTask("max_file=4\n");
    for (const int number : {0, -5}) {
        record_.nMaxFile = number;
        EXPECT_EQ(Set(), 0);
        EXPECT_THAT(Conf(), HasSubstr("max_file=4\n"));
    }
}

TEST_F(SavingBackupConf, MissingFolderIsRefused) {
    record_.szDestDir = "/var/lib/nowhere";
    ExpectRefusedDestination();
}

TEST_F(SavingBackupConf, MissingShareIsRefused) {
    record_.szDestShare = "Gone";
    ExpectRefusedDestination();
}

TEST_F(SavingBackupConf, ShareWhosePathIsALinkIsRefused) {
    fs::create_directory_symlink(kBackups, "/var/lib/link-to-backups");
    WriteShare("/var/lib/link-to-backups");
    record_.szDestShare = "Backups";
    ExpectRefusedDestination();
    fs::remove("/var/lib/link-to-backups");
}

TEST_F(SavingBackupConf, IsNotWrittenWhileAnotherProcessReads) {
    const int reader = ZAFOLDAPLock(kConfLock, LOCK_SH);
    EXPECT_EQ(Set(), -1);
    ExpectSlots(-65542, kStalePlatformCode);
    EXPECT_FALSE(fs::exists(kBackupConf));
    ZAFOLDAPUnLock(reader);
    EXPECT_EQ(Set(), 0);
}

TEST_F(SavingBackupConf, LockIsReleasedOnEveryPath) {
    EXPECT_EQ(Set(), 0);
    record_.szDestDir = "/var/lib/nowhere";
    EXPECT_EQ(Set(), -1);
    EXPECT_EQ(Get(), 0);
    WriteTask("schedule=x\n");
    EXPECT_EQ(Get(), -1);
    const int lock = ZAFOLDAPLock(kConfLock, LOCK_EX);
    EXPECT_GE(lock, 0);
    ZAFOLDAPUnLock(lock);
}

TEST_F(SavingBackupConf, FileThatCannotBeWrittenIsLogged) {
    fs::create_directory(kBackupConf);
    EXPECT_EQ(Set(), -1);
    EXPECT_THAT(LoggedTexts(), Contains("save backup conf [backup] failed! [0x0900]"));
}

TEST_F(SavingBackupConf, FullDiskIsLoggedAndLosesNothing) {
    WriteTask("note=" + std::string(5000, 'x') + "\nmax_file=2\n");
    const std::string before = Conf();
    EXPECT_EQ(OnAFullDisk([&] { return Set(); }), -1);
    EXPECT_THAT(LoggedTexts(), Contains("save backup conf [backup] failed! [0x0B00]"));
    EXPECT_EQ(Conf(), before);
}

// --- Destinations -------------------------------------------------------------

TEST_F(BackupConf, DestinationIsAFolderItself) {
    const std::string folder = kBackups;
    fs::create_directory_symlink(folder, folder + "/link");
    fs::create_symlink("nowhere", folder + "/dangling");
    Write(folder + "/file", "x");
    const std::map<std::string, int> kPaths = {{folder, 1},
                                               {folder + "/", 1},
                                               {folder + "/link", 0},
                                               {folder + "/file", 0},
                                               {folder + "/missing", 0},
                                               {folder + "/dangling", 0},
                                               {"", 0}};
    for (const auto &[path, valid] : kPaths)
        EXPECT_EQ(ZAFOLDAPBackupIsValidDest(path.c_str()), valid) << path;
    EXPECT_EQ(ZAFOLDAPBackupIsValidDest(nullptr), 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

// The result of IsValidDest in an unprivileged process.
int ValidForNobody(const char *path) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
        _exit(ZAFOLDAPBackupIsValidDest(path));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(BackupConf, DestinationMustBeReadWrittenAndEntered) {
    if (ValidForNobody("/") == 99) GTEST_SKIP() << "this root has one user only";
    const std::map<mode_t, int> kModes = {{0777, 1}, {0707, 1}, {0706, 0}, {0705, 0},
                                          {0703, 0}, {0700, 0}, {0000, 0}};
    for (const auto &[mode, valid] : kModes) {
        ASSERT_EQ(chmod(kBackups, mode), 0);
        EXPECT_EQ(ValidForNobody(kBackups), valid) << std::oct << mode;
    }
    chmod(kBackups, 0755);
}

}  // namespace
}  // namespace zafo::server_test
