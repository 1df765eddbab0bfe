// SPDX-License-Identifier: Apache-2.0
//
// Backup and restore by a separate program, and their schedule.
#include "tests/foreign/backup.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "zafoldap/backup.h"

extern char **environ;

namespace zafo::foreign::backup_test {

const Strings &OwnVariables() {
    static const Strings variables{
        "LDAP_BKP_PREFIX=zafoldap",
        "LDAP_BKP_PROGRESS_FILE=/var/log/zafoldap.progress",
        "LDAP_BROWSER_CONF=/usr/zafo/etc/private/ldapbrowser.conf",
    };
    return variables;
}

Strings Sorted(Strings strings) {
    std::sort(strings.begin(), strings.end());
    return strings;
}

Strings Environment() {
    Strings variables;
    for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable)
        variables.push_back(*variable);
    return variables;
}

class BackupRunTest : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        before_ = Environment();
        WriteFile(kDataMarker, "");
        std::filesystem::create_directories("/tmp/backups");
        WriteFile("/tmp/backups/one", "backup");
        platform().sections[kBackupConf]["backup"] = {
            {"enabled", "yes"}, {"dest_dir", "/tmp/backups"}, {"max_file", "4"}};
    }
    void TearDown() override {
        EXPECT_EQ(Environment(), before_) << "the caller has its own environment back";
        ServerTest::TearDown();
    }
    // Scripts both the file to be removed and the pairs read from it.
    void Progress(const Pairs &pairs) {
        WriteFile(kProgressFile, "x=y\n");
        platform().pairs[kProgressFile] = pairs;
    }
    Run TheRun() {
        const std::vector<Run> runs = platform().RunsOf("zafoldapbackup");
        EXPECT_EQ(runs.size(), 1u);
        return runs.empty() ? Run{} : runs[0];
    }

  private:
    Strings before_;
};

// --- Backup -------------------------------------------------------------------------

class ServerBackup : public BackupRunTest {};
ZAFO_FOREIGN_SUITE(ServerBackup);

TEST_P(ServerBackup, RunsTheProgramWithoutArguments) {
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    const Run run = TheRun();
    EXPECT_EQ(run.path, "/usr/zafo/bin/zafoldapbackup");
    EXPECT_EQ(run.how, "QLIBCExecl");
    EXPECT_EQ(run.bits, 0xB3);
    EXPECT_EQ(run.argv, Strings{});
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerBackup, GivesTheProgramAnEnvironmentOfSevenVariables) {
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    Strings expected = OwnVariables();
    for (const char *variable : {"LDAP_BKP_TASK=backup", "LDAP_BKP_DEST_DIR=/tmp/backups",
                                 "LDAP_BKP_SCHEDULE_ENABLED=yes", "LDAP_BKP_MAX_BACKUP_FILE=4"})
        expected.push_back(variable);
    EXPECT_EQ(TheRun().environment, Sorted(expected));
}

TEST_P(ServerBackup, GivesTheProgramThePathOfAShare) {
    platform().shares["Backups"] = "/somewhere/else";
    platform().sections[kBackupConf]["backup"] = {{"dest_share", "Backups"}};
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    Strings expected = OwnVariables();
    for (const char *variable : {"LDAP_BKP_TASK=backup", "LDAP_BKP_DEST_DIR=/somewhere/else",
                                 "LDAP_BKP_SCHEDULE_ENABLED=no", "LDAP_BKP_MAX_BACKUP_FILE=10"})
        expected.push_back(variable);
    EXPECT_EQ(TheRun().environment, Sorted(expected));
}

TEST_P(ServerBackup, LeavesOutAMissingFolder) {
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    Strings expected = OwnVariables();
    for (const char *variable :
         {"LDAP_BKP_TASK=backup", "LDAP_BKP_SCHEDULE_ENABLED=no", "LDAP_BKP_MAX_BACKUP_FILE=10"})
        expected.push_back(variable);
    EXPECT_EQ(TheRun().environment, Sorted(expected));
}

TEST_P(ServerBackup, DoesNotMindAFolderThatCannotBeUsed) {
    platform().sections[kBackupConf]["backup"]["dest_dir"] = "/does/not/exist";
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(platform().Runs().size(), 1u);
}

TEST_P(ServerBackup, FailsImmediatelyForAnEmptyDatabase) {
    unlink(kDataMarker);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_TRUE(platform().Runs().empty());
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerBackup, FailsWithoutItsSettings) {
    const HeldLock writer(LOCK_EX);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(ServerBackup, FailsWithABadSchedule) {
    platform().sections[kBackupConf]["backup"]["schedule"] = "1,2";
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_EQ(Log(), Strings{"invalid schedule setting: [1,2]"});
}

TEST_P(ServerBackup, TakesTheResultOfTheRunForTheExitCode) {
    const std::pair<int, int> codes[] = {
        {2, -65545},   {3, -65536},    {4, -65549},   {5, -65536},   {6, -65549},
        {7, -65549},   {8, -65549},    {9, -65536},   {10, -65536},  {11, -65536},
        {12, -65536},  {13, -65536},   {14, -65536},  {255, -65536}, {256, -65536},
        {512, -65536}, {2816, -65536}, {137, -65536}, {-1, -65536},  {-2, -65536}};
    for (const auto &[result, error] : codes) {
        Stale();
        Progress({{"operation", "backup"}});
        platform().On("zafoldapbackup").Status(result);
        EXPECT_EQ(ZAFOLDAPServerBackup(), -1) << result;
        EXPECT_EQ(LibraryError(), error) << result;
        EXPECT_TRUE(Exists(kProgressFile)) << "a backup keeps its progress";
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerBackup, FailsWhenTheProgramCannotStart) {
    platform().On("zafoldapbackup").CannotStart();
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_SYSTEM);
}

TEST_P(ServerBackup, SaysWhoHoldsTheJob) {
    const std::pair<const char *, int> operations[] = {
        {"backup", -65543}, {"restore", -65544}, {"Backup", -65542}, {"RESTORE", -65542},
        {"other", -65542},  {"", -65542},        {"backup ", -65542}};
    for (const auto &[operation, error] : operations) {
        Stale();
        Progress({{"operation", operation}});
        platform().On("zafoldapbackup").Status(1);
        EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
        EXPECT_EQ(LibraryError(), error) << operation;
    }
    Stale();
    Progress({});
    platform().On("zafoldapbackup").Status(1);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_EQ(LibraryError(), -65542);
    Stale();
    platform().pairs.clear();
    platform().On("zafoldapbackup").Status(1);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_EQ(LibraryError(), -65542);
}

// --- The error of an exit code --------------------------------------------------------

class BackupSetError : public BackupRunTest {};
ZAFO_FOREIGN_SUITE(BackupSetError);

TEST_P(BackupSetError, SetsTheErrorOfABackup) {
    const std::pair<int, int> codes[] = {
        {2, -65545},  {3, -65536},  {4, -65549},   {5, -65536},         {6, -65549},
        {7, -65549},  {8, -65549},  {9, -65536},   {10, -65536},        {11, -65536},
        {12, -65536}, {13, -65536}, {14, -65536},  {15, -65536},        {99, -65536},
        {0, -65536},  {-1, -65536}, {256, -65536}, {2147483647, -65536}};
    for (const auto &[code, error] : codes) {
        Stale();
        EXPECT_EQ(ZAFOLDAPServerBackupSetError(code), 0) << code;
        EXPECT_EQ(LibraryError(), error) << code;
    }
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetPair").empty());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupSetError, AsksTheProgressForABusyJob) {
    const std::pair<const char *, int> operations[] = {
        {"backup", -65543}, {"restore", -65544}, {"none", -65542}};
    for (const auto &[operation, error] : operations) {
        Progress({{"operation", operation}});
        EXPECT_EQ(ZAFOLDAPServerBackupSetError(1), 0);
        EXPECT_EQ(LibraryError(), error) << operation;
    }
    EXPECT_TRUE(Exists(kProgressFile));
}

TEST_P(BackupSetError, CallsABusyJobWithoutProgressOccupied) {
    EXPECT_EQ(ZAFOLDAPServerBackupSetError(1), 0);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
    platform().Fail("QLIBCFileGetPair", 1, -1, 0x0A00);
    EXPECT_EQ(ZAFOLDAPServerBackupSetError(1), 0);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
}

// --- Restore ------------------------------------------------------------------------

class ServerRestore : public BackupRunTest {
  protected:
    const char *file_ = "/tmp/backups/one";
};
ZAFO_FOREIGN_SUITE(ServerRestore);

TEST_P(ServerRestore, RefusesNoFileAndAnEmptyName) {
    const char *const condition = "((void *)0) != szBackupFile && '\\0' != *szBackupFile";
    ExpectArgumentFailure(condition, [] { return ZAFOLDAPServerRestore(nullptr); });
    ExpectArgumentFailure(condition, [] { return ZAFOLDAPServerRestore(""); });
}

TEST_P(ServerRestore, RunsTheProgramWithTheFile) {
    Progress({{"operation", "restore"}});
    EXPECT_EQ(ZAFOLDAPServerRestore(file_), 0);
    const Run run = TheRun();
    EXPECT_EQ(run.path, "/usr/zafo/bin/zafoldapbackup");
    EXPECT_EQ(run.how, "QLIBCExecl");
    EXPECT_EQ(run.bits, 0xB3);
    EXPECT_EQ(run.argv, (Strings{"-r", file_}));
    EXPECT_EQ(run.environment, OwnVariables());
    EXPECT_TRUE(Exists(kProgressFile));
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerRestore, NeedsNeitherSettingsNorADatabase) {
    const HeldLock writer(LOCK_EX);
    unlink(kDataMarker);
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerRestore(file_), 0);
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetSection").empty());
}

TEST_P(ServerRestore, RunsNothingForAFileThatCannotBeRead) {
    Progress({});
    EXPECT_EQ(ZAFOLDAPServerRestore("/tmp/backups/missing"), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_INVALID_BACKUP_FILE);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_TRUE(Exists(kProgressFile));
}

TEST_P(ServerRestore, NeedsTheRightToReadTheFile) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
        const bool refused = ZAFOLDAPServerRestore(file_) == -1 &&
                             LibraryError() == ZAFOLDAP_ERR_INVALID_BACKUP_FILE &&
                             platform().Runs().empty();
        _exit(refused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 99) GTEST_SKIP() << "this root has one user only";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_P(ServerRestore, DecodesTheWaitStatus) {
    const std::pair<int, int> codes[] = {{2 << 8, -65546},
                                         {3 << 8, -65536},
                                         {4 << 8, -65536},
                                         {5 << 8, -65536},
                                         {6 << 8, -65536},
                                         {7 << 8, -65549},
                                         {8 << 8, -65546},
                                         {9 << 8, -65550},
                                         {10 << 8, -65546},
                                         {11 << 8, -65547},
                                         {12 << 8, -65548},
                                         {13 << 8, -65550},
                                         {14 << 8, -65536},
                                         {15 << 8, -65536},
                                         {255 << 8, -65536},
                                         // Not exits: signals, and a program that did not start.
                                         {9, -65536},
                                         {2, -65536},
                                         {11, -65536},
                                         {7, -65536},
                                         {139, -65536},
                                         {-1, -65536}};
    for (const auto &[status, error] : codes) {
        Stale();
        platform().Forget();
        Progress({{"operation", "restore"}});
        platform().On("zafoldapbackup").Status(status);
        EXPECT_EQ(ZAFOLDAPServerRestore(file_), -1) << status;
        EXPECT_EQ(LibraryError(), error) << status;
        EXPECT_FALSE(Exists(kProgressFile)) << status;
        EXPECT_EQ(TakeLog(), Strings{"zafoldapbackup -r \"/tmp/backups/one\" failed: " +
                                     std::to_string(status)});
    }
}

TEST_P(ServerRestore, SaysWhoHoldsTheJobAndRemovesTheProgress) {
    const std::pair<const char *, int> operations[] = {
        {"backup", -65543}, {"restore", -65544}, {"other", -65542}};
    for (const auto &[operation, error] : operations) {
        Stale();
        Progress({{"operation", operation}});
        platform().On("zafoldapbackup").Exits(1);
        EXPECT_EQ(ZAFOLDAPServerRestore(file_), -1);
        EXPECT_EQ(LibraryError(), error) << operation;
        EXPECT_FALSE(Exists(kProgressFile));
    }
}

TEST_P(ServerRestore, ReadsTheProgressBeforeItIsRemoved) {
    Progress({{"operation", "backup"}});
    platform().On("zafoldapbackup").Exits(1);
    bool there = false;
    platform().Watch("QLIBCFileGetPair", [&](const Call &) { there = Exists(kProgressFile); });
    EXPECT_EQ(ZAFOLDAPServerRestore(file_), -1);
    EXPECT_TRUE(there);
}

TEST_P(ServerRestore, FailsWithoutAProgressFileAsWell) {
    platform().On("zafoldapbackup").Exits(11);
    EXPECT_EQ(ZAFOLDAPServerRestore(file_), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_PRODUCT_VERSION);
    platform().On("zafoldapbackup").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerRestore(file_), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
}

TEST_P(ServerRestore, PassesAnAwkwardNameAsItIs) {
    const std::string name = "/tmp/backups/a 'b' \"%s%n\"";
    WriteFile(name, "x");
    platform().On("zafoldapbackup").Exits(3);
    EXPECT_EQ(ZAFOLDAPServerRestore(name.c_str()), -1);
    EXPECT_EQ(TheRun().argv, (Strings{"-r", name}));
    EXPECT_EQ(Log(), Strings{"zafoldapbackup -r \"" + name + "\" failed: 768"});
}

// --- The environment -----------------------------------------------------------------

class BackupSetEnv : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ForgetVariables();
    }
    void TearDown() override {
        ForgetVariables();
        ServerTest::TearDown();
    }
    static void ForgetVariables() {
        for (const char *name :
             {"LDAP_BROWSER_CONF", "LDAP_BKP_PROGRESS_FILE", "LDAP_BKP_PREFIX", "LDAP_BKP_TASK",
              "LDAP_BKP_DEST_DIR", "LDAP_BKP_SCHEDULE_ENABLED", "LDAP_BKP_MAX_BACKUP_FILE"})
            unsetenv(name);
    }
    static Strings Variables() {
        Strings variables;
        for (const std::string &variable : Environment())
            if (variable.rfind("LDAP_B", 0) == 0) variables.push_back(variable);
        return Sorted(variables);
    }
};
ZAFO_FOREIGN_SUITE(BackupSetEnv);

TEST_P(BackupSetEnv, SetsThreeVariablesWithoutSettings) {
    const size_t others = Environment().size();
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(nullptr), 0);
    EXPECT_EQ(Variables(), OwnVariables());
    EXPECT_EQ(Environment().size(), others + 3) << "the others stay";
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupSetEnv, SetsSevenVariablesFromSettings) {
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.szTask = "nightly";
    config.szDestDir = "/a folder/with=signs";
    config.blEnabled = 0;
    config.nMaxFile = -3;
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(&config), 0);
    Strings expected = OwnVariables();
    for (const char *variable : {"LDAP_BKP_TASK=nightly", "LDAP_BKP_DEST_DIR=/a folder/with=signs",
                                 "LDAP_BKP_SCHEDULE_ENABLED=no", "LDAP_BKP_MAX_BACKUP_FILE=-3"})
        expected.push_back(variable);
    EXPECT_EQ(Variables(), Sorted(expected));
}

TEST_P(BackupSetEnv, ReplacesWhatWasSetBefore) {
    setenv("LDAP_BKP_PREFIX", "other", 1);
    setenv("LDAP_BKP_SCHEDULE_ENABLED", "other", 1);
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.szTask = "backup";
    config.szDestDir = "/x";
    config.blEnabled = 1;
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(&config), 0);
    EXPECT_STREQ(getenv("LDAP_BKP_PREFIX"), "zafoldap");
    EXPECT_STREQ(getenv("LDAP_BKP_SCHEDULE_ENABLED"), "yes");
}

TEST_P(BackupSetEnv, RemovesVariablesOfTextsThatAreNull) {
    setenv("LDAP_BKP_TASK", "old", 1);
    setenv("LDAP_BKP_DEST_DIR", "old", 1);
    const ZAFOLDAP_BACKUP_CONFIG config{};
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(&config), 0);
    EXPECT_EQ(getenv("LDAP_BKP_TASK"), nullptr);
    EXPECT_EQ(getenv("LDAP_BKP_DEST_DIR"), nullptr);
    EXPECT_STREQ(getenv("LDAP_BKP_MAX_BACKUP_FILE"), "0");
}

// --- The schedule ---------------------------------------------------------------------

class BackupSchedule : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        platform().sections[kBackupConf]["backup"] = {{"enabled", "no"},
                                                      {"schedule", "2,3,15,20,6,5"}};
    }
};
ZAFO_FOREIGN_SUITE(BackupSchedule);

TEST_P(BackupSchedule, RegistersTheCommandAsTheSettingsSay) {
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), 0);
    ASSERT_EQ(platform().CallsOf("ZAFOScheduleSet").size(), 1u);
    const Strings arguments = platform().CallsOf("ZAFOScheduleSet").at(0).arguments;
    ASSERT_GE(arguments.size(), 3u);
    EXPECT_EQ(arguments.back(), "0x0");
    EXPECT_EQ(arguments[arguments.size() - 2], kBackupCommand);
    ASSERT_EQ(platform().schedules.size(), 1u);
    const ZAFOSCHEDULE &schedule = platform().schedules[0];
    const int expected[] = {2, 3, 15, 20, 6, 5};
    EXPECT_EQ(memcmp(schedule.rgField, expected, sizeof expected), 0);
    EXPECT_STREQ(schedule.szCommand, kBackupCommand);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").at(0).arguments,
              (Strings{kBackupConf, "backup"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupSchedule, TakesEveryValueButZeroForEnabling) {
    for (int enable : {1, 2, -1}) {
        platform().Forget();
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(enable), 0);
        EXPECT_EQ(platform().CallsOf("ZAFOScheduleSet").size(), 1u) << enable;
        EXPECT_TRUE(platform().CallsOf("ZAFOScheduleRemove").empty());
    }
}

TEST_P(BackupSchedule, RegistersTheDefaultScheduleWhereTheSectionHasNone) {
    platform().sections[kBackupConf]["backup"] = {{"enabled", "yes"}};
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), 0);
    ASSERT_EQ(platform().schedules.size(), 1u);
    const int expected[] = {1, 4, 0, 4, 0, 0};
    EXPECT_EQ(memcmp(platform().schedules[0].rgField, expected, sizeof expected), 0);
}

TEST_P(BackupSchedule, RegistersAnEmptyScheduleWithoutSettings) {
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), 0);
    ASSERT_EQ(platform().schedules.size(), 1u);
    const int expected[6] = {};
    EXPECT_EQ(memcmp(platform().schedules[0].rgField, expected, sizeof expected), 0);
    EXPECT_STREQ(platform().schedules[0].szCommand, "");
}

TEST_P(BackupSchedule, RemovesTheCommand) {
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), 0);
    ASSERT_EQ(platform().CallsOf("ZAFOScheduleRemove").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOScheduleRemove").at(0).arguments, Strings{kBackupCommand});
    EXPECT_TRUE(platform().CallsOf("ZAFOScheduleSet").empty());
}

TEST_P(BackupSchedule, RemovesTheCommandWithoutSettingsAsWell) {
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), 0);
    ASSERT_EQ(platform().CallsOf("ZAFOScheduleRemove").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOScheduleRemove").at(0).arguments, Strings{kBackupCommand});
}

TEST_P(BackupSchedule, DoesNothingWhenTheSettingsCannotBeRead) {
    const HeldLock writer(LOCK_EX);
    for (int enable : {0, 1}) {
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(enable), -1);
        EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_OCCUPIED);
    }
    EXPECT_TRUE(platform().CallsOf("ZAFOScheduleSet").empty());
    EXPECT_TRUE(platform().CallsOf("ZAFOScheduleRemove").empty());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BackupSchedule, SaysWhenTheCommandCannotBeRegistered) {
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOScheduleSet", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), -1);
        EXPECT_EQ(TakeLog(), Strings{"add ldap backup schedule failed, [0x0B00]"});
    }
}

TEST_P(BackupSchedule, SaysWhenTheCommandCannotBeRemoved) {
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOScheduleRemove", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), -1);
        EXPECT_EQ(TakeLog(), Strings{"remove ldap backup schedule failed, [0x0B00]"});
    }
}

TEST_P(BackupSchedule, TakesEveryResultThatIsNotNegative) {
    for (int result : {0, 1, 42}) {
        platform().Returns("ZAFOScheduleSet", result);
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), 0) << result;
        platform().Returns("ZAFOScheduleRemove", result);
        EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), 0) << result;
    }
}

}  // namespace zafo::foreign::backup_test
