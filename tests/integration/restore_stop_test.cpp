// SPDX-License-Identifier: Apache-2.0
//
// A restore that is asked to stop, and one without room for the restored entries.
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>

#include "platform/service.h"
#include "tests/integration/restore_fixture.h"
#include "tests/rig/running_tool.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr const char *kFiller = "/usr/zafo/etc/openldap/tls/filler";

class StoppedRestore : public UnchangedTest {};

// --- Signals --------------------------------------------------------------------------

int StageOf(const std::string &progress) {
    const size_t at = progress.find("\nstage=");
    return at == std::string::npos ? 0 : std::stoi(progress.substr(at + 7));
}

// Sends the signal as soon as the stage begins; returns the exit code.
int EndInStage(const std::string &backup, int stage, int signal) {
    constexpr const char *kProgress = "/var/log/zafoldap.progress";
    fs::remove(kProgress);
    rig::RunningTool restore({kBackupProgram, "-r", backup});
    int status = 0;
    while (StageOf(FileContent(kProgress)) < stage) {
        if (restore.FinishWithin(1ms, status)) return WEXITSTATUS(status);
    }
    kill(restore.Pid(), signal);
    status = restore.Finish().status;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(StoppedRestore, ByASignalIsUndoneOrFinished) {
    int undone = 0;
    for (int stage = 1; stage <= 8; ++stage) {
        SCOPED_TRACE("in stage " + std::to_string(stage));
        if (Slapcat() == Restored()) ChangeEntries();
        entries_ = Slapcat();
        const int exit_code = EndInStage(Backup(), stage, stage % 2 == 0 ? SIGINT : SIGTERM);
        EXPECT_TRUE(exit_code == 3 || exit_code == 0) << exit_code;
        undone += exit_code == 3 ? 1 : 0;
        ExpectServes(exit_code == 3 ? entries_ : Restored());
        ExpectNothingLeft();
    }
    EXPECT_GE(undone, 3);
}

TEST_F(StoppedRestore, ByASignalWhileItLoadsDoesNotWaitForTheLoader) {
    const Substitute slapadd("/usr/zafo/bin/slapadd", "sleep 60\n");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(EndInStage(Backup(), 2, SIGHUP), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    ExpectAsBefore();
}

// --- No room --------------------------------------------------------------------------

// The server's folder is a small file system of its own.
class NoRoom : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        mounted_ = mount("small", kServerFolder, "tmpfs", 0, "size=16m,mode=755") == 0;
        if (!mounted_) GTEST_SKIP() << "nothing can be mounted in this root";
        ASSERT_EQ(Enable(settings_), 0);
        file_ = MakeBackup();
        entries_ = Slapcat();
    }
    ~NoRoom() override {
        ZAFOLDAPServerStop();
        if (mounted_) umount2(kServerFolder, MNT_DETACH);
    }

    // Fills the file system up to that much free space.
    static void LeaveFree(std::uintmax_t bytes) {
        fs::remove(kFiller);
        const std::uintmax_t all = fs::space(kServerFolder).available;
        ASSERT_GT(all, bytes);
        WriteFile(kFiller, std::string(all - bytes, 'x'));
    }

    // Entries that are mostly names, which need more room in indexes than as text.
    std::string BackupOfNames() const {
        std::vector<Member> members = MembersOf(file_);
        std::string &entries = Named(members, "data/000001.ldif").bytes;
        for (int i = 0; i < 1500; ++i) {
            const std::string number = std::to_string(i * 7919 % 1500);
            entries += "dn: uid=name" + number + ",cn=users," + settings_.suffix +
                       "\nobjectClass: inetOrgPerson\nuid: name" + number;
            for (const char *attribute : {"cn", "sn", "givenName", "displayName", "mail"})
                entries += "\n" + std::string(attribute) + ": " + number +
                           " of somebody whose names are long and many " + number;
            entries += "\n\n";
        }
        Describe(members, ManifestOf(members));
        return Packed("names.tar.zst", members);
    }

    void ExpectRefused(const std::string &file, int exit_code, const char *words) const {
        const int pid = ServerPid();
        const rig::ProgramRun run = Restore(file);
        EXPECT_EQ(run.exit_code, exit_code) << run.err;
        EXPECT_THAT(run.err, HasSubstr(words));
        EXPECT_EQ(ServerPid(), pid);
        EXPECT_TRUE(Slapcat() == entries_);
        ExpectNothingLeft();
    }

    bool mounted_ = false;
    std::string file_, entries_;
};

TEST_F(NoRoom, IsFoundOutBeforehandOrWhileLoadingAndTouchesNothing) {
    const std::string names = BackupOfNames();
    LeaveFree(512U << 10);
    ExpectRefused(file_, 9, "beside the database");
    // Enough by the estimate, but not for these entries.
    LeaveFree(4U << 20);
    ExpectRefused(names, 7, "slapadd");
    fs::remove(kFiller);
    EXPECT_EQ(Restore(file_).exit_code, 0);
    EXPECT_TRUE(Slapcat() == entries_);
}

}  // namespace
}  // namespace zafo::test
