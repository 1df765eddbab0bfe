// SPDX-License-Identifier: Apache-2.0
//
// Runs of the backup program: its environment, and the meaning of its exit.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <optional>

#include "tests/server/backup_fixture.h"

namespace zafo::server_test {

// Records calls of the scheduler. While a refusal is set, it fails with that platform error.
struct Scheduler {
    std::vector<ZAFOSCHEDULE> registered;
    Texts removed;
    int refusal = 0;
};
static Scheduler g_scheduler;

namespace {

namespace fs = std::filesystem;

constexpr const char *kProgram = "/usr/zafo/bin/zafoldapbackup";
constexpr const char *kMarker = "/usr/zafo/etc/openldap/data/dn2id.bdb";
const std::string kFile = std::string(kBackups) + "/zafoldap-000001.tar.zst";

// The error codes for the exit codes 0 to 13, after a backup and after a restore; all others are
// treated as 0. That for 1 depends on the progress.
constexpr int kReasons[][2] = {
    {-65536, -65536}, {-65542, -65542}, {-65545, -65546}, {-65536, -65536}, {-65549, -65536},
    {-65536, -65536}, {-65549, -65536}, {-65549, -65549}, {-65549, -65546}, {-65536, -65550},
    {-65536, -65546}, {-65536, -65547}, {-65536, -65548}, {-65536, -65550}};

int ReasonOf(int code, int column) {
    return code >= 0 && code < static_cast<int>(std::size(kReasons)) ? kReasons[code][column]
                                                                     : -65536;
}

// Signals whose default action ends a process.
std::vector<int> EndingSignals() {
    const std::set<int> others = {SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP,
                                  SIGTTIN, SIGTTOU, SIGURG,  SIGWINCH};
    std::vector<int> ending;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        // The C library reserves those in between.
        const bool kept = number > SIGSYS && number < SIGRTMIN;
        if (!kept && others.count(number) == 0) ending.push_back(number);
    }
    return ending;
}

void WriteProgress(const std::string &operation) {
    Write(kProgress, "operation=" + operation + "\nstatus=0\npid=1\n");
}

class Backup : public BackupTest {
  protected:
    Backup() {
        g_scheduler = {};
        Write(kMarker, "");
        Write(kFile, "a backup");
    }
    ~Backup() override { fs::remove(kMarker); }

    std::set<std::string> Seen() {
        const std::vector<rig::FakeCall> calls = tools_.Calls();
        EXPECT_THAT(calls, SizeIs(1));
        if (calls.empty()) return {};
        return {calls[0].environment.begin(), calls[0].environment.end()};
    }
    Texts SeenArguments() {
        const std::vector<rig::FakeCall> calls = tools_.Calls();
        return calls.size() == 1 ? calls[0].argv : Texts{};
    }
    rig::FakeScript Program() { return tools_.On("zafoldapbackup"); }
};

const std::set<std::string> kAlways = {"LDAP_BROWSER_CONF=/usr/zafo/etc/private/ldapbrowser.conf",
                                       "LDAP_BKP_PROGRESS_FILE=/var/log/zafoldap.progress",
                                       "LDAP_BKP_PREFIX=zafoldap"};

std::set<std::string> AlwaysAnd(std::set<std::string> more) {
    more.insert(kAlways.begin(), kAlways.end());
    return more;
}

// --- What the program sees ----------------------------------------------------

TEST_F(Backup, RunsWithoutArguments) {
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_THAT(SeenArguments(), ElementsAre(kProgram));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Backup, SeesTheSettingsAndNothingElse) {
    WriteTask("enabled=YES\ndest_dir=/volume1/b c\nmax_file=3\n");
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Seen(), AlwaysAnd({"LDAP_BKP_TASK=backup", "LDAP_BKP_DEST_DIR=/volume1/b c",
                                 "LDAP_BKP_SCHEDULE_ENABLED=yes", "LDAP_BKP_MAX_BACKUP_FILE=3"}));
}

TEST_F(Backup, OnAShareSeesItsPath) {
    Write(kShares, std::string("[Backups]\npath=") + kBackups + "\n");
    WriteTask("dest_share=Backups\n");
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Seen().count(std::string("LDAP_BKP_DEST_DIR=") + kBackups), 1U);
}

TEST_F(Backup, WithoutSettingsSeesNoDestination) {
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Seen(), AlwaysAnd({"LDAP_BKP_TASK=backup", "LDAP_BKP_SCHEDULE_ENABLED=no",
                                 "LDAP_BKP_MAX_BACKUP_FILE=10"}));
}

TEST_F(Backup, IsRunAlsoWithADestinationThatCannotBeUsed) {
    WriteTask("dest_dir=/nowhere\n");
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Seen().count("LDAP_BKP_DEST_DIR=/nowhere"), 1U);
}

TEST_F(Backup, RestoreSeesThreeVariables) {
    EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), 0);
    EXPECT_EQ(Seen(), kAlways);
    EXPECT_THAT(SeenArguments(), ElementsAre(kProgram, "-r", kFile));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

// --- The caller's environment -------------------------------------------------

// The addresses and texts of the environment, in order.
std::vector<std::pair<const void *, std::string>> Environment() {
    std::vector<std::pair<const void *, std::string>> all;
    for (char **at = environ; at != nullptr && *at != nullptr; ++at)
        all.emplace_back(*at, *at);
    return all;
}

// Any test may leave a different one behind.
class CallersEnvironment : public Backup {
  protected:
    CallersEnvironment() : before_(Environment()) {}
    ~CallersEnvironment() override {
        clearenv();
        for (const auto &variable : before_) {
            const std::string &text = variable.second;
            const size_t equals = text.find('=');
            setenv(text.substr(0, equals).c_str(), text.substr(equals + 1).c_str(), 1);
        }
    }

  private:
    std::vector<std::pair<const void *, std::string>> before_;
};

TEST_F(CallersEnvironment, IsTheSameAfterABackup) {
    setenv("BACKUP_TEST", "a=b", 1);
    setenv("LDAP_BKP_TASK", "mine", 1);
    const auto before = Environment();
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Environment(), before);
    EXPECT_EQ(Seen().count("LDAP_BKP_TASK=backup"), 1U);
}

TEST_F(CallersEnvironment, IsTheSameAfterAFailedRestore) {
    Program().Exit(8);
    const auto before = Environment();
    EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
    EXPECT_EQ(Environment(), before);
}

TEST_F(CallersEnvironment, MayBeChangedBetweenBackups) {
    for (int i = 0; i < 20; ++i) {
        setenv("BACKUP_TEST", std::to_string(i).c_str(), 1);
        EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
        EXPECT_EQ(std::string(getenv("BACKUP_TEST")), std::to_string(i));
        EXPECT_EQ(getenv("LDAP_BKP_PREFIX"), nullptr);
    }
}

TEST_F(CallersEnvironment, OfNothingAtAllStaysSo) {
    static char *nothing[] = {nullptr};
    environ = nothing;
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_THAT(Environment(), IsEmpty());
    environ = nullptr;
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_THAT(Environment(), IsEmpty());
}

TEST_F(CallersEnvironment, LinesWithoutANameSurvive) {
    static char odd[] = "no name", empty[] = "", twice[] = "A=1", again[] = "A=2";
    static char *array[] = {odd, twice, empty, again, nullptr};
    environ = array;
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(Environment(), (std::vector<std::pair<const void *, std::string>>{
                                 {odd, odd}, {twice, twice}, {empty, empty}, {again, again}}));
}

TEST_F(CallersEnvironment, GetsTheVariablesOfSetEnv) {
    char task[] = "weekly", folder[] = "/d";
    config_.szTask = task;
    config_.szDestDir = folder;
    config_.blEnabled = 5;
    config_.nMaxFile = -1;
    setenv("BACKUP_TEST", "kept", 1);
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(&config_), 0);
    EXPECT_STREQ(getenv("LDAP_BROWSER_CONF"), "/usr/zafo/etc/private/ldapbrowser.conf");
    EXPECT_STREQ(getenv("LDAP_BKP_PROGRESS_FILE"), "/var/log/zafoldap.progress");
    EXPECT_STREQ(getenv("LDAP_BKP_PREFIX"), "zafoldap");
    EXPECT_STREQ(getenv("LDAP_BKP_TASK"), "weekly");
    EXPECT_STREQ(getenv("LDAP_BKP_DEST_DIR"), "/d");
    EXPECT_STREQ(getenv("LDAP_BKP_SCHEDULE_ENABLED"), "yes");
    EXPECT_STREQ(getenv("LDAP_BKP_MAX_BACKUP_FILE"), "-1");
    EXPECT_STREQ(getenv("BACKUP_TEST"), "kept");
}

TEST_F(CallersEnvironment, LosesAVariableWhoseTextIsNull) {
    setenv("LDAP_BKP_DEST_DIR", "/old", 1);
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(&config_), 0);
    EXPECT_EQ(getenv("LDAP_BKP_DEST_DIR"), nullptr);
    EXPECT_STREQ(getenv("LDAP_BKP_SCHEDULE_ENABLED"), "no");
}

TEST_F(CallersEnvironment, WithoutARecordGetsThreeVariables) {
    setenv("LDAP_BKP_TASK", "mine", 1);
    EXPECT_EQ(ZAFOLDAPServerBackupSetEnv(nullptr), 0);
    EXPECT_STREQ(getenv("LDAP_BKP_PREFIX"), "zafoldap");
    EXPECT_STREQ(getenv("LDAP_BKP_TASK"), "mine");
}

// --- What is not run ----------------------------------------------------------

TEST_F(Backup, OfAnEmptyDatabaseFailsAndRunsNothing) {
    fs::remove(kMarker);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    EXPECT_THAT(LibraryMessages(), IsEmpty());
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(Backup, WithoutReadableSettingsRunsNothing) {
    WriteTask("schedule=never\n");
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    const int writer = ZAFOLDAPLock(kConfLock, 2);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65542);
    ZAFOLDAPUnLock(writer);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(Backup, RestoreOfAFileThatCannotBeReadRunsNothing) {
    for (const char *path : {"/nowhere", "/var/lib/backups/missing"}) {
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerRestore(path), -1);
        ExpectSlots(-65546, kStalePlatformCode);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Backup, RestoreNeedsAName) {
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPServerRestore(name), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
        EXPECT_THAT(
            LoggedTexts(),
            ElementsAre(
                "Invaild Argument (((void *)0) != szBackupFile && '\\0' != *szBackupFile)=[0]\n"));
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

// --- What its end means -------------------------------------------------------

TEST_F(Backup, ExitCodesHaveTheirReasons) {
    for (int code = -1; code <= 256; ++code) {
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerBackupSetError(code), 0);
        EXPECT_EQ(ZAFOLDAPErrGet(), ReasonOf(code, 0)) << code;
    }
}

// The wait status is used as the exit code, and that of an exit is never below 256.
TEST_F(Backup, ThatExitsWithAnyCodeIsASystemError) {
    for (int code = 1; code < 256; ++code) {
        tools_.Reset();
        Program().Exit(code);
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
        ExpectSlots(-65536, 0x2200);  // of the settings' section, which is missing
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Backup, EndedByASignalHasTheReasonOfItsNumber) {
    for (const int number : EndingSignals()) {
        tools_.Reset();
        Program().Die(number);
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), ReasonOf(number, 0)) << number;
    }
}

TEST_F(Backup, RestoreThatExitsHasTheReasonOfTheCode) {
    for (int code = 1; code < 256; ++code) {
        tools_.Reset();
        Program().Exit(code);
        SetStaleCodes();
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), ReasonOf(code, 1)) << code;
        EXPECT_THAT(LoggedTexts(), ElementsAre("zafoldapbackup -r \"" + kFile +
                                               "\" failed: " + std::to_string(code << 8)));
    }
}

TEST_F(Backup, RestoreEndedByASignalIsASystemError) {
    for (const int number : EndingSignals()) {
        tools_.Reset();
        Program().Die(number);
        SetStaleCodes();
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), -65536) << number;
        EXPECT_THAT(LoggedTexts(), ElementsAre(testing::StartsWith("zafoldapbackup -r \"")));
    }
}

TEST_F(Backup, ProgramThatCannotBeStartedIsASystemError) {
    fs::rename(kProgram, std::string(kProgram) + ".away");
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    ExpectSlots(-65536, 0x0900);
    SetStaleCodes();
    EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
    ExpectSlots(-65536, 0x0900);
    EXPECT_THAT(LoggedTexts(), ElementsAre("zafoldapbackup -r \"" + kFile + "\" failed: -1"));
    fs::rename(std::string(kProgram) + ".away", kProgram);
}

TEST_F(Backup, BusyReportsWhatIsRunning) {
    const std::map<std::string, int> kOperations = {{"backup", -65543},
                                                    {"restore", -65544},
                                                    {"Backup", -65542},
                                                    {"backups", -65542},
                                                    {"", -65542}};
    for (const auto &[operation, code] : kOperations) {
        WriteProgress(operation);
        ZAFOLDAPServerBackupSetError(1);
        EXPECT_EQ(ZAFOLDAPErrGet(), code) << operation;
        tools_.Reset();
        Program().Exit(1);
        EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), code) << operation;
    }
}

TEST_F(Backup, BusyWithoutAnOperationIsOccupied) {
    Write(kProgress, "status=0\n");
    ZAFOLDAPServerBackupSetError(1);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65542);
}

TEST_F(Backup, ProgressStaysAfterEverythingButAFailedRestore) {
    WriteProgress("backup");
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_TRUE(fs::exists(kProgress));
    EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), 0);
    EXPECT_TRUE(fs::exists(kProgress));
    Program().Exit(3);
    EXPECT_EQ(ZAFOLDAPServerBackup(), -1);
    EXPECT_TRUE(fs::exists(kProgress));
    EXPECT_EQ(ZAFOLDAPServerRestore(kFile.c_str()), -1);
    EXPECT_FALSE(fs::exists(kProgress));
}

TEST_F(Backup, RestoreThatNeverStartedKeepsTheProgress) {
    WriteProgress("backup");
    EXPECT_EQ(ZAFOLDAPServerRestore("/nowhere"), -1);
    EXPECT_TRUE(fs::exists(kProgress));
}

// --- The schedule -------------------------------------------------------------

TEST_F(Backup, ScheduleIsRegisteredAsTheSettingsSay) {
    WriteTask("enabled=no\nschedule=2,3,4,5,6,7\n");
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), 0);
    ASSERT_THAT(g_scheduler.registered, SizeIs(1));
    EXPECT_THAT(g_scheduler.registered[0].rgField, ElementsAre(2, 3, 4, 5, 6, 7));
    EXPECT_STREQ(g_scheduler.registered[0].szCommand, kCommand);
    EXPECT_THAT(g_scheduler.removed, IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Backup, ScheduleWithoutSettingsIsEmpty) {
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(-1), 0);
    ASSERT_THAT(g_scheduler.registered, SizeIs(1));
    EXPECT_THAT(g_scheduler.registered[0].rgField, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_STREQ(g_scheduler.registered[0].szCommand, "");
}

TEST_F(Backup, ScheduleIsRemovedByItsCommand) {
    WriteTask("enabled=yes\n");
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), 0);
    EXPECT_THAT(g_scheduler.removed, ElementsAre(kCommand));
    EXPECT_THAT(g_scheduler.registered, IsEmpty());
}

TEST_F(Backup, SchedulerThatRefusesIsLogged) {
    WriteTask("enabled=yes\n");
    g_scheduler.refusal = 0x0B00;
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), -1);
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("add ldap backup schedule failed, [0x0B00]",
                                           "remove ldap backup schedule failed, [0x0B00]"));
}

TEST_F(Backup, ScheduleNeedsReadableSettings) {
    WriteTask("schedule=never\n");
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(1), -1);
    EXPECT_EQ(ZAFOLDAPServerBackupSchedule(0), -1);
    EXPECT_THAT(g_scheduler.registered, IsEmpty());
    EXPECT_THAT(g_scheduler.removed, IsEmpty());
}

}  // namespace
}  // namespace zafo::server_test

// This binary's scheduler, which replaces the platform's.

int ZAFOScheduleSet(const ZAFOSCHEDULE *pSchedule, int nFlags) {
    EXPECT_EQ(nFlags, 0);
    auto &scheduler = zafo::server_test::g_scheduler;
    if (scheduler.refusal != 0) {
        QLIBCErrSet(scheduler.refusal);
        return -1;
    }
    scheduler.registered.push_back(*pSchedule);
    return 0;
}

int ZAFOScheduleRemove(const char *szCommand) {
    auto &scheduler = zafo::server_test::g_scheduler;
    if (scheduler.refusal != 0) {
        QLIBCErrSet(scheduler.refusal);
        return -1;
    }
    scheduler.removed.push_back(szCommand);
    return 0;
}
