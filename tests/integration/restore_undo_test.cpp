// SPDX-License-Identifier: Apache-2.0
//
// A restore that is killed while it puts the old entries back, and server starts during a restore.
#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "base/unique_fd.h"
#include "tests/integration/restore_faults.h"
#include "tests/rig/running_tool.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

class KilledUndoing : public FaultTest {
  protected:
    // The start of the restored server fails, the old server's does not.
    static rig::FaultRun Undo(const std::string &fault) {
        constexpr const char *kScript =
            "[ -e /tmp/started ] && exec @REAL@ \"$@\"\n: >/tmp/started\nexit 1\n";
        fs::remove("/tmp/started");
        const Substitute start("/usr/zafo/libexec/ldap-server-start", kScript);
        return RestoreWith(fault);
    }
};

TEST_F(KilledUndoing, AtAnyStepLeavesTheOldOrTheRestoredEntries) {
    const rig::FaultRun all = Undo("");
    ASSERT_EQ(all.ExitCode(), 5) << all.words;
    const auto started =
        std::ranges::find_if(std::ranges::find(all.calls, "rename", &rig::CountedCall::kind),
                             all.calls.end(), [](const rig::CountedCall &call) {
                                 return call.path.ends_with("/data.new") && call.kind == "rename";
                             });
    ASSERT_NE(started, all.calls.end());
    int old = 0;
    int steps = 0;
    for (auto at = started + 1; at != all.calls.end() && !HasFailure(); ++at) {
        if (IsProgress(*at)) continue;
        if (Slapcat() == Restored()) ChangeEntries();
        const std::string entries = Slapcat();
        const auto step = std::to_string(at - all.calls.begin() + 1);
        SCOPED_TRACE("killed at call " + step + ", " + at->kind + " " + at->path);
        EXPECT_TRUE(Undo("kill:" + step).Died());
        StopAndStart();
        ExpectEither(entries);
        old += Slapcat() == entries ? 1 : 0;
        ++steps;
    }
    EXPECT_GT(steps, 20);
    EXPECT_GT(old, steps / 2) << "once it was decided, the old ones come back";
}

class StartMeanwhile : public UnchangedTest {};

// Waits until the restore has written its journal.
void AwaitJournal() {
    for (int tries = 0; tries < 10000 && !fs::exists(kJournal); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(fs::exists(kJournal));
}

TEST_F(StartMeanwhile, IsRefusedWhileTheDatabaseIsExchanged) {
    const Substitute mark("/usr/zafo/libexec/ldap-server-mark", "sleep 2\nexec @REAL@\n");
    rig::RunningTool restore({kBackupProgram, "-r", Backup()});
    AwaitJournal();
    while (fs::exists(kPidFile))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const rig::ProgramRun start = rig::RunProgram({"/usr/zafo/libexec/ldap-server-start"});
    EXPECT_EQ(start.exit_code, 1);
    EXPECT_THAT(start.err, HasSubstr("a restore is running"));
    EXPECT_EQ(restore.Finish().status, 0);
    ExpectServes(Restored());
    ExpectNothingLeft();
}

TEST_F(StartMeanwhile, ThatIsGoingOnIsWaitedFor) {
    const Substitute mark("/usr/zafo/libexec/ldap-server-mark", "sleep 1\nexec @REAL@\n");
    UniqueFd lock(open("/var/run/ldap-server-start.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    rig::RunningTool restore({kBackupProgram, "-r", Backup()});
    // Before it begins, the restore runs recovery under the same lock.
    AwaitJournal();
    ASSERT_EQ(flock(lock.Get(), LOCK_EX), 0);
    int status = 0;
    EXPECT_FALSE(restore.FinishWithin(std::chrono::seconds(2), status));
    EXPECT_TRUE(fs::exists(kJournal));
    ExpectHolds(entries_);
    lock.Reset(-1);
    EXPECT_EQ(restore.Finish().status, 0);
    ExpectServes(Restored());
}

}  // namespace
}  // namespace zafo::test
