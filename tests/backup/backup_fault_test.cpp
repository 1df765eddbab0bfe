// SPDX-License-Identifier: Apache-2.0
//
// The backup program, killed or failing at each of its system calls: existing backups never change,
// and the next run tidies up.
#include <gmock/gmock.h>

#include "tests/backup/program_fixture.h"

namespace {

using namespace zafo;
using namespace zafo::test;
using testing::IsEmpty;

// An upper bound on the calls of any program.
constexpr int kMostCalls = 500;

class BackupFault : public BackupProgramTest {
  protected:
    // Two backups whose entries differ from those of the next one.
    void SetUp() override {
        BackupProgramTest::SetUp();
        MakeBackup();
        MakeBackup();
        before_ = Contents();
        ASSERT_EQ(before_.size(), 2u);
        Settle();
    }

    // From here on slapcat prints something else, so that one backup cannot pass for another.
    void Settle() {
        tools_.Reset();
        tools_.On("slapcat").Output(Entries("later"));
    }

    void ExpectOldBackupsUntouched() const {
        const auto now = Contents();
        for (const auto &[name, bytes] : before_) {
            const auto found = now.find(name);
            ASSERT_NE(found, now.end()) << name;
            ASSERT_EQ(found->second, bytes) << name;
        }
    }

    // Every file with a backup's name must be a whole backup.
    void ExpectEveryBackupWhole() const {
        for (const std::string &name : Backups())
            Verified(name);
    }

    void ForgetNewBackups() const {
        for (const std::string &name : Backups()) {
            if (!before_.contains(name)) std::filesystem::remove(Path(name));
        }
    }

    static std::string CallIn(const rig::FaultRun &run) {
        return run.calls.empty() ? "no call" : run.calls.back().kind + " " + run.calls.back().path;
    }

    std::map<std::string, std::string> before_;
};

TEST_F(BackupFault, KilledAtAnyStepHurtsNothing) {
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "10";
    int step = 1;
    for (; step < kMostCalls; ++step) {
        const rig::FaultRun run = Run("kill:" + std::to_string(step));
        SCOPED_TRACE("killed at step " + std::to_string(step) + ": " + CallIn(run));
        if (!run.Died()) {
            EXPECT_EQ(run.ExitCode(), 0) << run.words;
            break;
        }
        ExpectOldBackupsUntouched();
        ExpectEveryBackupWhole();
        const rig::FaultRun next = Run();
        ASSERT_EQ(next.ExitCode(), 0) << next.words;
        ExpectOldBackupsUntouched();
        ASSERT_THAT(Others(), IsEmpty());
        ASSERT_EQ(EntriesOf(Backups().at(0)), Entries("later"));
        ForgetNewBackups();
        if (HasFailure()) return;
    }
    // Lock, progress, part file, slapcat, writing, renaming, thinning.
    EXPECT_GT(step, 20);
    EXPECT_LT(step, kMostCalls);
}

// Also while it removes old backups: the newest ones are never removed.
TEST_F(BackupFault, KilledWhileItRemovesOldBackupsLeavesTheNewest) {
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "1";
    const rig::FaultRun run = Run("kill:2:unlink");
    ASSERT_TRUE(run.Died()) << run.words;
    ExpectEveryBackupWhole();
    EXPECT_EQ(EntriesOf(Backups().at(0)), Entries("later"));
    EXPECT_EQ(Run().ExitCode(), 0);
    EXPECT_EQ(Backups().size(), 1u);
}

struct Failure {
    const char *reason;
    const char *kind;
    int code;  // when the call concerns the backup's own file
};

void PrintTo(const Failure &one, std::ostream *out) {
    *out << one.reason << " at " << one.kind;
}

class BackupFailure : public BackupFault, public testing::WithParamInterface<Failure> {
  protected:
    // Whether the failing call concerns the backup folder: failures of the progress file are
    // tolerated.
    bool IsInFolder(const rig::FaultRun &run, int turn) const {
        int found = 0;
        for (const rig::CountedCall &call : run.calls) {
            if (call.kind == GetParam().kind && ++found == turn)
                return call.path.starts_with(folder_);
        }
        return false;
    }
};

TEST_P(BackupFailure, AtAnyTurnHurtsNothing) {
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "10";
    int turn = 1;
    int in_folder = 0;
    for (; turn < kMostCalls; ++turn) {
        const rig::FaultRun run = Run(std::string(GetParam().reason) + ":" + std::to_string(turn) +
                                      ":" + GetParam().kind);
        SCOPED_TRACE("turn " + std::to_string(turn));
        const auto total = std::count_if(run.calls.begin(), run.calls.end(), [](const auto &call) {
            return call.kind == GetParam().kind;
        });
        if (turn > total) break;
        ASSERT_FALSE(run.Died());
        ExpectOldBackupsUntouched();
        ASSERT_THAT(Others(), IsEmpty());
        if (IsInFolder(run, turn)) {
            ++in_folder;
            ASSERT_EQ(run.ExitCode(), GetParam().code) << run.words;
            ASSERT_EQ(Contents(), before_);
            ASSERT_EQ(Progress("status"), std::to_string(GetParam().code));
        } else if (run.ExitCode() == 0) {
            ASSERT_EQ(EntriesOf(Backups().at(0)), Entries("later"));
            ForgetNewBackups();
        } else {
            ASSERT_EQ(run.ExitCode(), 3) << run.words;
            ASSERT_EQ(Contents(), before_);
        }
    }
    EXPECT_GT(in_folder, 0);
    EXPECT_LT(turn, kMostCalls);
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, BackupFailure,
    testing::Values(Failure{"ENOSPC", "write", 6}, Failure{"EDQUOT", "write", 7},
                    Failure{"EFBIG", "write", 8}, Failure{"EIO", "write", 2},
                    Failure{"ESTALE", "write", 2}, Failure{"EROFS", "write", 2},
                    Failure{"ENOSPC", "sync", 6}, Failure{"EDQUOT", "sync", 7},
                    Failure{"EIO", "sync", 2}, Failure{"ENOENT", "rename", 2},
                    Failure{"ESTALE", "rename", 2}, Failure{"ENOSPC", "rename", 6},
                    Failure{"ENOSPC", "create", 6}, Failure{"EACCES", "create", 2},
                    Failure{"ENOMEM", "create", 3}),
    [](const auto &one) { return std::string(one.param.reason) + "_" + one.param.kind; });

// A disk that does not keep what was written: detected before the file gets a backup's name.
TEST_F(BackupFault, IsDetectedByReadingBackFromTheDisk) {
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "1";
    int in_folder = 0;
    for (const std::string how : {"flip:", "lose:"}) {
        for (int turn = 1; turn < kMostCalls; ++turn) {
            const rig::FaultRun run = Run(how + std::to_string(turn));
            std::vector<rig::CountedCall> writes = run.calls;
            std::erase_if(writes, [](const auto &call) { return call.kind != "write"; });
            if (writes.size() < static_cast<size_t>(turn)) break;
            if (!writes[static_cast<size_t>(turn) - 1].path.starts_with(folder_)) {
                ForgetNewBackups();
                for (const auto &[name, bytes] : before_)
                    Write(name, bytes);
                continue;
            }
            SCOPED_TRACE(how + std::to_string(turn));
            ++in_folder;
            EXPECT_EQ(run.ExitCode(), 3) << run.words;
            EXPECT_THAT(run.words, testing::HasSubstr("the backup on the disk is damaged"));
            EXPECT_EQ(Contents(), before_);
            EXPECT_THAT(Others(), IsEmpty());
            EXPECT_EQ(Progress("action"), "verifying");
        }
    }
    EXPECT_GE(in_folder, 4);
}

TEST_F(BackupFault, AProgramThatCannotBeStartedIsReported) {
    const rig::FaultRun run = Run("EAGAIN:1:spawn");
    EXPECT_EQ(run.ExitCode(), 3);
    EXPECT_THAT(run.words, testing::HasSubstr("cannot start /usr/zafo/bin/slapcat"));
    EXPECT_EQ(Contents(), before_);
    EXPECT_THAT(Others(), IsEmpty());
}

// The new backup is good; the report is about the folder filling up.
TEST_F(BackupFault, AnOldBackupThatCannotBeRemovedIsReported) {
    variables_["LDAP_BKP_MAX_BACKUP_FILE"] = "1";
    const rig::FaultRun run = Run("EACCES:1:unlink");
    EXPECT_EQ(run.ExitCode(), 2);
    EXPECT_THAT(run.words, testing::HasSubstr("Permission denied"));
    EXPECT_EQ(EntriesOf(Backups().at(0)), Entries("later"));
}

// A file system without RENAME_NOREPLACE.
TEST_F(BackupFault, FallsBackToAPlainRename) {
    const rig::FaultRun plain = Run();
    ASSERT_EQ(plain.ExitCode(), 0);
    int turn = 0;
    int at = 0;
    for (const rig::CountedCall &call : plain.calls) {
        if (call.kind != "rename") continue;
        ++turn;
        if (call.path.starts_with(folder_)) at = turn;
    }
    ASSERT_GT(at, 0);
    const rig::FaultRun run = Run("EINVAL:" + std::to_string(at) + ":rename");
    EXPECT_EQ(run.ExitCode(), 0) << run.words;
    EXPECT_THAT(Others(), IsEmpty());
    EXPECT_EQ(EntriesOf(Backups().at(0)), Entries("later"));
}

}  // namespace
