// SPDX-License-Identifier: Apache-2.0
//
// zafoldapbackup without arguments: what it writes, what it keeps, and each of its exit codes.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>

#include <gmock/gmock.h>

#include "tests/backup/program_fixture.h"
#include "tests/rig/system_log.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/job_lock.h"

namespace {

using namespace zafo;
using namespace zafo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char *kSlapdConf = "/usr/zafo/etc/openldap/slapd.conf";

class BackupProgram : public BackupProgramTest {
  protected:
    // Expects a run to fail with this code and a one-line message, and to leave no traces in the
    // folder.
    void ExpectFailure(int code, const std::string &words, const std::string &fault = "") {
        const rig::FaultRun run = Run(fault);
        EXPECT_EQ(run.ExitCode(), code) << run.words;
        EXPECT_THAT(run.words, HasSubstr(words));
        EXPECT_TRUE(run.words.starts_with("zafoldapbackup: backup failed: ")) << run.words;
        EXPECT_EQ(std::count(run.words.begin(), run.words.end(), '\n'), 1) << run.words;
        if (code != 1) {
            EXPECT_EQ(Progress("status"), std::to_string(code));
        }
    }

    void UseSlapcat(const std::function<void(rig::FakeScript &&)> &script) {
        tools_.Reset();
        script(tools_.On("slapcat"));
    }
};

// --- What it writes -----------------------------------------------------------

TEST_F(BackupProgram, WritesABackupThatCanBeVerified) {
    const rig::FaultRun run = Run();
    EXPECT_EQ(run.ExitCode(), 0);
    EXPECT_EQ(run.words, "");
    ASSERT_THAT(Backups(), SizeIs(1));
    EXPECT_THAT(Others(), IsEmpty());
    EXPECT_TRUE(Backups()[0].starts_with("zafoldap-000001-")) << Backups()[0];
    EXPECT_EQ(EntriesOf(Backups()[0]), Entries());
    struct stat status {};
    ASSERT_EQ(stat(Path(Backups()[0]).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0600u);
}

TEST_F(BackupProgram, DescribesWhatItSavedInTheManifest) {
    variables_["LDAP_BKP_TASK"] = "nightly";
    MakeBackup();
    const backup::Manifest manifest = Verified(Backups().at(0)).manifest;
    EXPECT_EQ(manifest.task, "nightly");
    EXPECT_EQ(manifest.number, 1u);
    EXPECT_EQ(manifest.entries, 2u);
    EXPECT_EQ(manifest.suffix, "dc=Example, dc=com");
    EXPECT_TRUE(manifest.slapd_version.starts_with("2.")) << manifest.slapd_version;
    EXPECT_FALSE(manifest.product_version.empty());
    EXPECT_THAT(manifest.created, testing::MatchesRegex("[0-9-]+T[0-9:]+Z"));
}

TEST_F(BackupProgram, SavesTheConfigurationAndTheOwnConnectionOnly) {
    MakeBackup();
    const backup::Contents contents = Verified(Backups().at(0));
    ASSERT_NE(contents.Config(backup::kSlapdConfMember), nullptr);
    EXPECT_EQ(*contents.Config(backup::kSlapdConfMember),
              "include x\nsuffix \"dc=Example, dc=com\"\n");
    ASSERT_NE(contents.Config(backup::kAccessRulesMember), nullptr);
    EXPECT_EQ(*contents.Config(backup::kAccessRulesMember), "access to * by * read\n");
    ASSERT_NE(contents.Config(backup::kConnectionMember), nullptr);
    EXPECT_EQ(*contents.Config(backup::kConnectionMember), "[root]\nuri=localhost\nbindpw=ours\n");
}

TEST_F(BackupProgram, NeedsNoSavedConnectionAndNoRules) {
    unlink("/usr/zafo/etc/private/ldapbrowser.conf");
    unlink("/usr/zafo/etc/openldap/slapd-acls.conf");
    MakeBackup();
    EXPECT_THAT(Verified(Backups().at(0)).config, SizeIs(1));
}

TEST_F(BackupProgram, RunsSlapcatWithoutItsOwnDescriptorsAndEnvironment) {
    MakeBackup();
    const std::vector<rig::FakeCall> calls = tools_.Calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0].argv, ElementsAre("/usr/zafo/bin/slapcat"));
    EXPECT_THAT(calls[0].environment,
                testing::UnorderedElementsAre(testing::StartsWith("PATH="), "LC_ALL=C"));
    EXPECT_TRUE(calls[0].InputIsNull());
    EXPECT_THAT(calls[0].descriptors, SizeIs(3));
    // The C library reserves two of the real-time signals.
    EXPECT_EQ(calls[0].ignored_signals & 0x7FFFFFFFu, 0u);
    EXPECT_EQ(calls[0].blocked_signals, 0u);
}

TEST_F(BackupProgram, SavesEntriesThatComeSlowly) {
    UseSlapcat([](rig::FakeScript &&script) {
        script.Output("dn: dc=exam")
            .Sleep(std::chrono::milliseconds(50))
            .Output("ple,dc=com\ndc: x\n\n");
    });
    MakeBackup();
    EXPECT_EQ(EntriesOf(Backups().at(0)), "dn: dc=example,dc=com\ndc: x\n\n");
}

TEST_F(BackupProgram, WritesNoArchiveIntoAClosedStandardDescriptor) {
    const rig::ToolOutcome outcome = rig::RunTool(
        {"/bin/sh", "-c", std::string("exec ") + kBackupProgram + " <&- >&- 2>&-"}, Environment());
    EXPECT_EQ(outcome.status, 0);
    ASSERT_THAT(Backups(), SizeIs(1));
    Verified(Backups()[0]);
}

// A caller that ignores SIGCHLD passes that on to its programs.
TEST_F(BackupProgram, SeesHowSlapcatEndsWhateverItsCallerDoesAboutChildren) {
    UseSlapcat([](rig::FakeScript &&script) { script.Output(Entries()).Exit(1); });
    const rig::ToolOutcome outcome = rig::RunTool(
        {"/bin/bash", "-c", std::string("trap '' CHLD; exec ") + kBackupProgram}, Environment());
    EXPECT_EQ(WEXITSTATUS(outcome.status), 5) << outcome.output;
    EXPECT_THAT(Names(), IsEmpty());
}

// --- What it keeps ------------------------------------------------------------

TEST_F(BackupProgram, KeepsAsManyAsConfigured) {
    for (int i = 0; i < 5; ++i)
        MakeBackup();
    ASSERT_THAT(Backups(), SizeIs(3));
    EXPECT_TRUE(Backups()[0].starts_with("zafoldap-000005-"));
    EXPECT_TRUE(Backups()[2].starts_with("zafoldap-000003-"));
}

TEST_F(BackupProgram, KeepsTenWithoutAValidNumber) {
    for (const char *number : {"", "0", "-1", "all"}) {
        variables_["LDAP_BKP_MAX_BACKUP_FILE"] = number;
        for (int i = 0; i < 3; ++i)
            MakeBackup();
    }
    EXPECT_THAT(Backups(), SizeIs(10));
}

// A clock that was wrong has left backups dated in the future.
TEST_F(BackupProgram, KeepsTheNewestByNumber) {
    for (const char *name :
         {"zafoldap-000007-20980101T000000Z.tar.zst", "zafoldap-000008-20990101T000000Z.tar.zst"}) {
        MakeBackup();
        std::filesystem::rename(Path(Backups().at(0)), Path(name));
    }
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "2";
    MakeBackup();
    ASSERT_THAT(Backups(), SizeIs(2));
    EXPECT_TRUE(Backups()[0].starts_with("zafoldap-000009-")) << Backups()[0];
    EXPECT_EQ(Backups()[1], "zafoldap-000008-20990101T000000Z.tar.zst");
}

TEST_F(BackupProgram, LeavesFilesOfOthersAlone) {
    const std::vector<std::string> others = {".hidden", "holiday.jpg",
                                             "other-000001-20270101T000000Z.tar.zst",
                                             "zafoldap-backup.tar.zst"};
    for (const std::string &name : others)
        Write(name, "theirs");
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "1";
    MakeBackup();
    MakeBackup();
    EXPECT_EQ(Others(), others);
}

TEST_F(BackupProgram, KeepsEverythingWhenItFails) {
    MakeBackup();
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "1";
    const auto before = Contents();
    UseSlapcat([](rig::FakeScript &&script) { script.Output(Entries()).Exit(1); });
    ExpectFailure(5, "slapcat failed");
    EXPECT_EQ(Contents(), before);
}

// --- Progress -----------------------------------------------------------------

TEST_F(BackupProgram, ReportsItsProgress) {
    UseSlapcat([&](rig::FakeScript &&script) { script.Output(Entries()).WaitForFile(Path("go")); });
    rig::RunningTool running({kBackupProgram}, Environment());
    ASSERT_TRUE(tools_.WaitForCalls(1));
    EXPECT_EQ(Progress("operation"), "backup");
    EXPECT_EQ(Progress("task"), "backup");
    EXPECT_THAT(Progress("action"), HasSubstr("saving the entries"));
    EXPECT_EQ(Progress("stage"), "3");
    EXPECT_EQ(Progress("total"), "6");
    EXPECT_EQ(Progress("status"), "0");
    EXPECT_EQ(Progress("pid"), std::to_string(running.Pid()));
    Write("go", "");
    EXPECT_EQ(running.Finish().status, 0);
    EXPECT_EQ(Progress("stage"), "6");
    EXPECT_EQ(Progress("action"), "removing old backups");
    EXPECT_EQ(Progress("status"), "0");
}

TEST_F(BackupProgram, LeavesTheStageInWhichItFailed) {
    UseSlapcat([](rig::FakeScript &&script) { script.Exit(1); });
    ExpectFailure(5, "slapcat failed");
    EXPECT_EQ(Progress("action"), "saving the entries");
    EXPECT_EQ(Progress("stage"), "3");
}

TEST_F(BackupProgram, WorksWithoutReportingItsProgress) {
    variables_["LDAP_BKP_PROGRESS_FILE"] = "/no/such/folder/progress";
    EXPECT_EQ(Run().ExitCode(), 0);
}

// --- Exit codes ---------------------------------------------------------------

TEST_F(BackupProgram, IsBusyWhileAnotherJobRuns) {
    std::ofstream(kProgress) << "operation=restore\n";
    const UniqueFd lock(open(backup::kJobLockFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(lock.Get(), LOCK_EX), 0);
    ExpectFailure(1, "another backup or restore is running");
    EXPECT_EQ(Progress("operation"), "restore");
    EXPECT_EQ(Progress("status"), "");
    EXPECT_THAT(Backups(), IsEmpty());
}

TEST_F(BackupProgram, RefusesAPathThatIsNotAFolder) {
    Write("file", "x");
    ASSERT_EQ(symlink(folder_.c_str(), Path("link").c_str()), 0);
    const std::pair<std::string, std::string> kPlaces[] = {
        {"", "no backup folder is set"},
        {"backups", "it is not an absolute path"},
        {Path("none"), "No such file or directory"},
        {Path("file"), "it is not a folder"},
        {Path("link"), "it is a link"},
        {"/usr/zafo/etc/openldap/data", "it is inside the database"},
        {"/usr/zafo/etc/openldap/../openldap/data/.", "it is inside the database"},
    };
    for (const auto &[place, words] : kPlaces) {
        SCOPED_TRACE(place);
        variables_["LDAP_BKP_DEST_DIR"] = place;
        ExpectFailure(2, words);
    }
    variables_.erase("LDAP_BKP_DEST_DIR");
    ExpectFailure(2, "no backup folder is set");
}

TEST_F(BackupProgram, RefusesAFolderInsideTheDatabaseUnderAnotherName) {
    const std::string below = "/usr/zafo/etc/openldap/data/backups";
    ASSERT_EQ(mkdir(below.c_str(), 0700), 0);
    ASSERT_EQ(symlink("/usr/zafo/etc/openldap/data", Path("way").c_str()), 0);
    variables_["LDAP_BKP_DEST_DIR"] = Path("way/backups");
    ExpectFailure(2, "it is inside the database");
    rmdir(below.c_str());
}

// The folder is a file system of its own.
class BackupFileSystem : public BackupProgram {
  protected:
    bool Mount(const char *options) {
        mounted_ = mount("tmpfs", folder_.c_str(), "tmpfs", 0, options) == 0;
        return mounted_;
    }
    bool MakeReadOnly() {
        return mount("tmpfs", folder_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }
    void TearDown() override {
        if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
        BackupProgram::TearDown();
    }

    bool mounted_ = false;
};

TEST_F(BackupFileSystem, ThatIsReadOnlyIsRefused) {
    if (!Mount("size=16m") || !MakeReadOnly()) GTEST_SKIP() << "nothing can be mounted here";
    ExpectFailure(2, "Read-only file system");
}

TEST_F(BackupFileSystem, WithoutRoomIsRefusedBeforeAnythingIsWritten) {
    if (!Mount("size=2m")) GTEST_SKIP() << "nothing can be mounted here";
    ExpectFailure(4, "too little space: about 4.0 MiB needed, 2.0 MiB left");
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
}

// Incompressible, and far more than there is room for.
TEST_F(BackupFileSystem, ThatFillsUpEndsTheBackup) {
    if (!Mount("size=6m")) GTEST_SKIP() << "nothing can be mounted here";
    MakeBackup();
    const auto before = Contents();
    std::string photo;
    std::ifstream random("/dev/urandom");
    photo.resize(100000);
    random.read(photo.data(), static_cast<std::streamsize>(photo.size()));
    UseSlapcat([&](rig::FakeScript &&script) { script.Output(Entries()).Flood(photo); });
    ExpectFailure(6, "No space left on device");
    EXPECT_EQ(Contents(), before);
    EXPECT_THAT(Others(), IsEmpty());
    Verified(Backups().at(0));
}

// An unmounted share exposes the folder beneath the mount.
TEST_F(BackupFileSystem, ThatIsTakenAwayEndsTheBackup) {
    if (!Mount("size=16m")) GTEST_SKIP() << "nothing can be mounted here";
    UseSlapcat([&](rig::FakeScript &&script) { script.Output(Entries()).WaitForFile("/tmp/go"); });
    rig::RunningTool running({kBackupProgram}, Environment());
    ASSERT_TRUE(tools_.WaitForCalls(1));
    ASSERT_EQ(umount2(folder_.c_str(), MNT_DETACH), 0);
    mounted_ = false;
    std::ofstream("/tmp/go") << "";
    const rig::ToolOutcome outcome = running.Finish();
    unlink("/tmp/go");
    EXPECT_EQ(WEXITSTATUS(outcome.status), 2) << outcome.output;
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BackupProgram, FailsOnAFolderThatWentAway) {
    UseSlapcat([&](rig::FakeScript &&script) { script.Output(Entries()).WaitForFile("/tmp/go"); });
    rig::RunningTool running({kBackupProgram}, Environment());
    ASSERT_TRUE(tools_.WaitForCalls(1));
    std::filesystem::remove_all(folder_);
    std::ofstream("/tmp/go") << "";
    const rig::ToolOutcome outcome = running.Finish();
    unlink("/tmp/go");
    EXPECT_EQ(WEXITSTATUS(outcome.status), 2);
    EXPECT_THAT(outcome.output, HasSubstr("No such file or directory"));
    EXPECT_FALSE(std::filesystem::exists(folder_));
}

TEST_F(BackupProgram, NeedsASetUpServer) {
    unlink(kSlapdConf);
    ExpectFailure(3, "cannot be read: the server is not set up");
    std::ofstream(kSlapdConf) << "include x\n";
    ExpectFailure(3, "names no suffix");
}

TEST_F(BackupProgram, RefusesAPrefixThatLeadsElsewhere) {
    variables_["LDAP_BKP_PREFIX"] = "../zafoldap";
    const rig::FaultRun run = Run();
    EXPECT_EQ(run.ExitCode(), 3);
    EXPECT_THAT(run.words, HasSubstr("LDAP_BKP_PREFIX"));
}

TEST_F(BackupProgram, PrintsItsUsageWhenCalledWrongly) {
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"-r"}, {"-r", ""}, {"-r", "a", "b"}, {"--help"}, {"backup"}}) {
        std::vector<std::string> argv = {kBackupProgram};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        const rig::ToolOutcome outcome = rig::RunTool(argv, Environment());
        EXPECT_EQ(WEXITSTATUS(outcome.status), 3) << arguments[0];
        EXPECT_THAT(outcome.output, HasSubstr("usage: zafoldapbackup")) << arguments[0];
    }
    EXPECT_THAT(Names(), IsEmpty());
}

struct BadSlapcat {
    const char *name;
    void (*script)(rig::FakeScript &&);
    const char *words;
};

void PrintTo(const BadSlapcat &one, std::ostream *out) {
    *out << one.name;
}

class BackupOfBadEntries : public BackupProgram, public testing::WithParamInterface<BadSlapcat> {};

TEST_P(BackupOfBadEntries, IsRefused) {
    UseSlapcat(GetParam().script);
    ExpectFailure(5, GetParam().words);
    EXPECT_THAT(Names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Slapcats, BackupOfBadEntries,
    testing::Values(
        BadSlapcat{"ExitCode",
                   [](rig::FakeScript &&s) { s.Output(Entries()).Error("oh\nno\n").Exit(1); },
                   "slapcat failed (exit code 1): oh\n"},
        BadSlapcat{"Signal", [](rig::FakeScript &&s) { s.Output(Entries()).Die(SIGSEGV); },
                   "slapcat failed (signal 11)\n"},
        BadSlapcat{"Silent", [](rig::FakeScript &&s) { s.Exit(0); }, "holds no entries"},
        BadSlapcat{"CutBetweenLines",
                   [](rig::FakeScript &&s) { s.Output(Entries() + "dn: o=x\na: b\n"); },
                   "ends after 3 entries"},
        BadSlapcat{"CutInALine", [](rig::FakeScript &&s) { s.Output(Entries() + "dn: o"); },
                   "ends after 2 entries"},
        BadSlapcat{
            "WithoutTheSuffix",
            [](rig::FakeScript &&s) { s.Output("dn: cn=users,dc=example,dc=com\ncn: users\n\n"); },
            "the suffix's entry is missing"},
        BadSlapcat{"SomethingElse", [](rig::FakeScript &&s) { s.Output(Entries() + "oh no\n\n"); },
                   "ends after 2 entries"}),
    [](const auto &one) { return one.param.name; });

TEST_F(BackupProgram, ReportsAMissingSlapcat) {
    std::filesystem::rename("/usr/zafo/bin/slapcat", "/usr/zafo/bin/slapcat.gone");
    ExpectFailure(3, "cannot start /usr/zafo/bin/slapcat");
    std::filesystem::rename("/usr/zafo/bin/slapcat.gone", "/usr/zafo/bin/slapcat");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BackupProgram, TidiesUpWhenItIsAskedToEnd) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        UseSlapcat([](rig::FakeScript &&script) { script.Output(Entries()).Hang(); });
        rig::RunningTool running({kBackupProgram}, Environment());
        ASSERT_TRUE(tools_.WaitForCalls(1));
        kill(running.Pid(), signal);
        const rig::ToolOutcome outcome = running.Finish();
        EXPECT_EQ(WEXITSTATUS(outcome.status), 3);
        EXPECT_THAT(outcome.output, HasSubstr("it was terminated by a signal"));
        EXPECT_EQ(Progress("status"), "3");
        EXPECT_THAT(Names(), IsEmpty());
        EXPECT_NE(kill(tools_.Calls().at(0).pid, 0), 0);
    }
}

TEST_F(BackupProgram, ReportsToTheSystemLogToo) {
    rig::SystemLog &log = rig::SystemLog::Get();
    log.Clear();
    variables_["LDAP_BKP_DEST_DIR"] = Path("none");
    Run();
    ASSERT_THAT(log.Messages(), SizeIs(1));
    const std::string line = log.Messages()[0];
    EXPECT_TRUE(line.starts_with("<" + std::to_string(LOG_ERR | LOG_DAEMON) + ">")) << line;
    EXPECT_THAT(line, HasSubstr("zafoldapbackup["));
    EXPECT_THAT(line, HasSubstr("]: backup failed: cannot write " + Path("none") +
                                ": No such file or directory"));
}

}  // namespace
