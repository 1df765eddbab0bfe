// SPDX-License-Identifier: Apache-2.0
//
// A restore that is killed at every call with which it changes a file or starts a program. At the server's next start the old or the restored entries are there, to the last byte.
#include <algorithm>
#include <filesystem>
#include <string_view>

#include "tests/integration/restore_faults.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

class KilledRestore : public FaultTest {};

TEST_F(KilledRestore, AtAnyStepLeavesTheOldOrTheRestoredEntries) {
    const rig::FaultRun all = RestoreWith("");
    ASSERT_EQ(all.ExitCode(), 0);
    int killed = 0;
    int restored = 0;
    bool has_journal = false;
    for (size_t step = 1; step <= all.calls.size() && !HasFailure(); ++step) {
        const rig::CountedCall &call = all.calls[step - 1];
        if (has_journal && IsProgress(call)) continue;
        if (Slapcat() == Restored()) ChangeEntries();
        const std::string entries = Slapcat();
        const rig::FaultRun run = RestoreWith("kill:" + std::to_string(step));
        SCOPED_TRACE("killed at call " + std::to_string(step) + ", " + call.kind + " " + call.path);
        EXPECT_TRUE(run.Died());
        has_journal = has_journal || fs::exists(kJournal);
        // Before that the server goes on.
        has_journal ? StopAndStart() : Settle();
        ExpectEither(entries);
        ++killed;
        restored += Slapcat() == Restored() ? 1 : 0;
    }
    EXPECT_TRUE(has_journal);
    EXPECT_GT(killed, 50);
    EXPECT_GT(restored, 5) << "from the exchange on the restored entries stay";
    EXPECT_EQ(Restore(Backup()).exit_code, 0);
    ExpectServes(Restored());
}

// What the clients wrote to the restored database is theirs.
TEST_F(KilledRestore, AfterItsServerServedKeepsWhatClientsHaveWritten) {
    const rig::FaultRun all = RestoreWith("");
    ASSERT_EQ(all.ExitCode(), 0);
    ChangeEntries();
    ASSERT_TRUE(RestoreWith("kill:" + CallOf(all, "spawn", "ldapsearch")).Died());
    ASSERT_TRUE(fs::exists(kJournal));
    ASSERT_TRUE(fs::exists(kSpareFolder));
    ChangeEntries();
    const std::string written = Slapcat();
    EXPECT_FALSE(written == Restored());
    StopAndStart();
    ExpectServes(written);
    ExpectNothingLeft();
}

struct NextRow {
    const char *kind;
    const char *path;
    bool restored;
};

constexpr NextRow kNext[] = {
    {"spawn", "/slapadd", false},         {"rename", "/restore.journal", false},
    {"rename", "/data.new", false},       {"spawn", "/ldapsearch", true},
    {"unlink", "/restore.journal", true},
};

// Its server is back, too, where it had been stopped.
TEST_F(KilledRestore, IsSettledByTheNextJob) {
    const rig::FaultRun all = RestoreWith("");
    ASSERT_EQ(all.ExitCode(), 0);
    for (const NextRow &row : kNext) {
        SCOPED_TRACE(std::string("killed before ") + row.kind + " " + row.path);
        ChangeEntries();
        const std::string entries = Slapcat();
        ASSERT_TRUE(RestoreWith("kill:" + CallOf(all, row.kind, row.path)).Died());
        MakeBackup();
        ExpectServes(row.restored ? Restored() : entries);
        ExpectNothingLeft();
        EXPECT_EQ(Restore(Backup()).exit_code, 0);
        ExpectServes(Restored());
    }
}

}  // namespace
}  // namespace zafo::test
