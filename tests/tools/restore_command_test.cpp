// SPDX-License-Identifier: Apache-2.0
//
// Restores of a real server from the command line: confirmed, refused, failing, on another machine.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/account_fixture.h"
#include "tests/tools/backup_fixture.h"
#include "tests/tools/on_terminal.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::HasSubstr;

class Restore : public Backup {
  protected:
    void SetUp() override {
        Backup::SetUp();
        SetDestination();
        file_ = Make();
        ASSERT_EQ(Zafoldap({"user", "add", "anna", "--password-stdin"}, kServerPassword).exit_code,
                  0);
    }
    void TearDown() override {
        Zafoldap({"user", "delete", "anna", "--yes"});
        EXPECT_EQ(Users(), "admin\n");
    }

    std::string file_;
};

TEST_F(Restore, BringsTheOldDirectoryBackAndServesIt) {
    EXPECT_EQ(Users(), "admin\nanna\n");
    const Json result = ServerLineJson("restore " + file_ + " --yes")["data"]["restored"];
    EXPECT_EQ(result["file"], file_);
    EXPECT_EQ(result["users"], 1);
    EXPECT_EQ(Users(), "admin\n");
    EXPECT_EQ(ServerLine("status").exit_code, 0);
    EXPECT_THAT(ReadFile("/var/log/messages"),
                HasSubstr("restore: service=ldap-server by=root file=\"" + file_ + "\""));
}

TEST_F(Restore, SaysWhatIsReplacedAndAsksForTheSuffix) {
    OnTerminal program({"restore", "--latest"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("Type the suffix (dc=example,dc=com) to continue: ", "dc=example,dc=com\n");
    EXPECT_EQ(program.Finish(), 0) << program.Seen();
    EXPECT_THAT(program.Seen(), AllOf(HasSubstr("with 1 user and 3 groups"),
                                      HasSubstr("with 2 users and 3 groups is replaced")));
    EXPECT_EQ(Users(), "admin\n");
}

TEST_F(Restore, DoesNothingWithoutTheSuffix) {
    OnTerminal program({"restore", "--latest"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("to continue: ", "yes\n");
    EXPECT_EQ(program.Finish(), 2);
    ExpectRefusal("restore --latest", 2, "zafoldap.confirmation_needed", "cannot prompt for it");
    EXPECT_EQ(Users(), "admin\nanna\n");
}

TEST_F(Restore, ADryRunVerifiesAndChangesNothing) {
    const ProgramRun run = ServerLine("restore --latest --dry-run");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.err, HasSubstr("would restore the backup " + file_));
    EXPECT_EQ(Users(), "admin\nanna\n");
}

TEST_F(Restore, TakesOneFile) {
    ExpectRefusal("restore --yes", 2, "zafoldap.usage", "FILE is missing");
    ExpectRefusal("restore x --latest --yes", 2, "zafoldap.usage", "cannot be used together");
}

TEST_F(Restore, TheLatestIsTheNewestThatIsWhole) {
    const std::string newer = Make();
    std::string bytes = ReadFile(newer);
    bytes[bytes.size() / 2] ^= 1;
    WriteFile(newer, bytes);
    const std::string newest = Make();
    WriteFile(newest, "cut");
    const ProgramRun run = ServerLine("restore --latest --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, AllOf(HasSubstr("left out: " + newer),
                               HasSubstr(newest + " does not count: it is too short")));
    EXPECT_EQ(Users(), "admin\n");
    fs::remove(file_);
    ExpectRefusal("restore --latest --yes", 3, "zafoldap.backup_none", "no backup in /backups");
}

TEST_F(Restore, OfAnotherDirectoryIsRefused) {
    const ChangedFile conf(kSlapdConf, "suffix dc=other,dc=org\nrootdn cn=admin,dc=other,dc=org\n");
    ExpectRefusal("restore --latest --yes", 1, "zafoldap.backup_other_suffix",
                  "this server holds dc=other,dc=org");
}

TEST_F(Restore, WhileAnotherJobRunsIsBusyAndLeavesItsProgress) {
    const std::string progress = ProgressText("backup", 0, 3, getpid());
    const OtherJob other(progress);
    ExpectRefusal("restore --latest --yes", 8, "backup.err_backup_locked", "a backup is running");
    EXPECT_EQ(ReadFile(kProgress), progress);
}

TEST_F(Restore, ThatFailsLeavesTheOldDirectoryServed) {
    {
        const ReplacedTool slapadd("slapadd", "echo 'it is broken' >&2; exit 1");
        const ProgramRun run = ServerLine("restore --latest --yes");
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_THAT(run.err, AllOf(HasSubstr("the directory is unchanged"), HasSubstr("broken")));
    }
    EXPECT_EQ(Users(), "admin\nanna\n");
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

TEST_F(Restore, OfAServerThatIsStoppedLeavesItStopped) {
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    const ProgramRun run = ServerLine("restore --latest --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("stopped, as before"));
    EXPECT_EQ(ServerLine("status").exit_code, 3);
    EXPECT_EQ(ServerLine("start").exit_code, 0);
    EXPECT_EQ(Users(), "admin\n");
}

// Only the file survives from the old machine: there is no key to decipher its saved password.
TEST_F(Restore, OnAnotherMachineNeedsANewPasswordAndNothingElse) {
    const std::string file = "/root/kept.tar.zst";
    fs::copy_file(file_, file);
    ASSERT_EQ(ServerLine("reset --yes").exit_code, 0);
    for (const auto &entry : fs::directory_iterator("/usr/zafo/etc/private"))
        fs::remove_all(entry.path());
    const ProgramRun run = ServerLine("restore " + file + " --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("zafoldapserver enable --suffix dc=example,dc=com starts it"));
    const ProgramRun enabled = ServerLine("enable --suffix dc=example,dc=com --password-stdin");
    EXPECT_EQ(enabled.exit_code, 0) << enabled.err;
    EXPECT_EQ(Users(), "admin\n");
}

}  // namespace
