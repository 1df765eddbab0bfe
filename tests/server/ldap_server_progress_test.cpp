// SPDX-License-Identifier: Apache-2.0
//
// What the backup program reports about its progress.
#include <sys/wait.h>
#include <unistd.h>

#include "platform/process.h"
#include "tests/server/backup_fixture.h"

namespace zafo::server_test {
namespace {

namespace fs = std::filesystem;

class Progress : public BackupTest {
  protected:
    ~Progress() override { ZAFOLDAPServerProgressFree(&progress_); }

    int Get() {
        ZAFOLDAPServerProgressFree(&progress_);
        return ZAFOLDAPServerProgressGet(&progress_);
    }
    // Writes this process's id and the lines.
    static void WriteLines(const std::string &lines) {
        Write(kProgress, "pid=" + std::to_string(getpid()) + "\n" + lines);
    }
    void ExpectEmpty() {
        EXPECT_EQ(progress_.plistBuffer, nullptr);
        EXPECT_EQ(progress_.szOperation, nullptr);
        EXPECT_EQ(progress_.nPid, 0);
    }

    ZAFOLDAP_PROGRESS progress_{};
};

TEST_F(Progress, IsWhatTheFileSays) {
    WriteLines(
        "operation=restore\ntask=weekly\naction=loading the entries\ntotal=8\nstage=2\nstatus=0\n");
    EXPECT_EQ(Get(), 1);
    EXPECT_STREQ(progress_.szOperation, "restore");
    EXPECT_STREQ(progress_.szTask, "weekly");
    EXPECT_STREQ(progress_.szAction, "loading the entries");
    EXPECT_EQ(progress_.nTotal, 8);
    EXPECT_EQ(progress_.nStage, 2);
    EXPECT_EQ(progress_.nStatus, 0);
    EXPECT_EQ(progress_.nPid, getpid());
    EXPECT_EQ(progress_.blRunning, 1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Progress, ThatDoesNotExistIsNotAnError) {
    EXPECT_EQ(Get(), 0);
    ExpectSlots(kStaleLdapCode, 0);
    ExpectEmpty();
}

TEST_F(Progress, OfAFailureDoesNotRun) {
    WriteLines("status=6\n");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(progress_.nStatus, 6);
    EXPECT_EQ(progress_.blRunning, 0);
}

TEST_F(Progress, OfADeadProcessDoesNotRun) {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    Write(kProgress, "status=0\npid=" + std::to_string(child) + "\n");
    // A zombie is dead as well.
    while (QLIBCProcAlive(child) != 0)
        usleep(1000);
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(progress_.blRunning, 0);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(progress_.blRunning, 0);
}

TEST_F(Progress, WithoutAProcessDoesNotRun) {
    for (const char *lines : {"", "pid=0\n", "pid=-1\n", "pid=x\n"}) {
        Write(kProgress, std::string("operation=backup\n") + lines);
        EXPECT_EQ(Get(), 1);
        EXPECT_EQ(progress_.blRunning, 0) << lines;
    }
}

TEST_F(Progress, MissingKeysAreEmpty) {
    Write(kProgress, "");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(progress_.szOperation, nullptr);
    EXPECT_EQ(progress_.szTask, nullptr);
    EXPECT_EQ(progress_.szAction, nullptr);
    EXPECT_EQ(progress_.nTotal, 0);
    EXPECT_EQ(progress_.nStage, 0);
    EXPECT_EQ(progress_.nStatus, 0);
}

TEST_F(Progress, TextsAreThoseOfTheirKeys) {
    const std::string text(3000, 'x');
    WriteLines("action=" + text + "\n");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(progress_.szOperation, nullptr);
    EXPECT_EQ(progress_.szAction, text);
}

TEST_F(Progress, ThatCannotBeReadIsAFailure) {
    fs::create_directory(kProgress);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0A00);
    ExpectEmpty();
}

TEST_F(Progress, IsFreedTwiceAndAsNothing) {
    WriteLines("operation=backup\n");
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress_), 0);
    ExpectEmpty();
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress_), 0);
    EXPECT_EQ(ZAFOLDAPServerProgressFree(nullptr), 0);
}

}  // namespace
}  // namespace zafo::server_test
