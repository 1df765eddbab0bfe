// SPDX-License-Identifier: Apache-2.0
//
// A restore whose system calls fail, at every call with which it changes a file.
#include <algorithm>

#include "tests/integration/restore_faults.h"

namespace zafo::test {
namespace {

class RefusedRestore : public FaultTest {
  protected:
    void TearDown() override {
        if (IsSkipped()) return;
        Recover();
        ExpectNothingLeft();
    }

    // Injects the failure at every call of that kind in turn.
    static void ExpectUndoneAtEvery(const std::string &reason, const std::string &kind) {
        const rig::FaultRun all = RestoreWith("");
        ASSERT_EQ(all.ExitCode(), 0);
        int turn = 0;
        int played = 0;
        for (const rig::CountedCall &call : all.calls) {
            if (call.kind != kind || testing::Test::HasFailure()) continue;
            ++turn;
            if (IsProgress(call) && played > 0) continue;
            ++played;
            ExpectUndone(reason + ":" + std::to_string(turn) + ":" + kind, call.path);
        }
        EXPECT_GT(played, 1);
    }

    static void ExpectUndone(const std::string &fault, const std::string &path) {
        if (Slapcat() == Restored()) ChangeEntries();
        const std::string entries = Slapcat();
        const rig::FaultRun run = RestoreWith(fault);
        SCOPED_TRACE(fault + " " + path + ": exit code " + std::to_string(run.ExitCode()) + ", " +
                     run.words);
        EXPECT_GE(run.ExitCode(), 0);
        // The restore does not depend on some of the calls: its exit code decides.
        ExpectServes(run.ExitCode() == 0 ? Restored() : entries);
    }
};

TEST_F(RefusedRestore, AtAnyWriteBecauseTheDiskIsFullIsUndone) {
    ExpectUndoneAtEvery("ENOSPC", "write");
}

// The disk is full from some moment on, also during the undo.
TEST_F(RefusedRestore, OnADiskThatStaysFullIsUndone) {
    const rig::FaultRun all = RestoreWith("");
    ASSERT_EQ(all.ExitCode(), 0);
    int turn = 0;
    for (const rig::CountedCall &call : all.calls) {
        if (call.kind != "write") continue;
        ++turn;
        if (!call.path.ends_with(".part")) continue;
        ExpectUndone("ENOSPC:" + std::to_string(turn) + "+:write", call.path);
    }
}

TEST_F(RefusedRestore, AtAnyNewFileIsUndone) {
    ExpectUndoneAtEvery("ENOSPC", "create");
    ExpectUndoneAtEvery("ENOSPC", "mkdir");
}

TEST_F(RefusedRestore, AtAnySynchronisationIsUndone) {
    ExpectUndoneAtEvery("EIO", "sync");
}

TEST_F(RefusedRestore, AtAnyChangeOfANameIsUndone) {
    ExpectUndoneAtEvery("EIO", "rename");
}

TEST_F(RefusedRestore, AtAnyRemovalIsUndoneOrCounts) {
    ExpectUndoneAtEvery("EIO", "unlink");
}

}  // namespace
}  // namespace zafo::test
