// SPDX-License-Identifier: Apache-2.0
//
// A restore that is killed at every call with which it changes a file or starts a program. At the
// server's next start the old or the restored entries are in place, to the last byte.
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
        // Before that point the server keeps running.
        has_journal ? StopAndStart() : Recover();
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

// --- Loss of power ------------------------------------------------------------------------

// A kind of call, and the suffix of its path.
struct Step {
    std::string_view kind;
    std::string_view path;
};

// Everything is synced before it is swapped, and each step before the next one relies on it.
constexpr Step kOrder[] = {
    {"write", "/data.new/data.mdb"},    // the loaded database has its final length
    {"rename", "/data.new/dn2id.bdb"},  // all files are in the folder
    {"sync", "/data.new/data.mdb"},     // content
    {"sync", "/openldap/data.new"},     // names
    {"sync", "/etc/openldap"},          // the folder itself
    {"sync", "/restore.journal.part"},  // the intention
    {"rename", "/restore.journal"},     //
    {"sync", "/etc/openldap"},          //
    {"spawn", "/ldap-server-mark"},     // the server has stopped
    {"rename", "/openldap/data.new"},   // the swap
    {"sync", "/etc/openldap"},          //
    {"rename", "/restore.journal"},     // the server may be started
    {"sync", "/etc/openldap"},          //
    {"spawn", "/zafo-service-keeper"},  // it is started
    {"spawn", "/ldapsearch"},           // and asked
    {"unlink", "/restore.journal"},     // the restore is committed
    {"sync", "/etc/openldap"},          //
    {"unlink", "data.mdb"},             // only now is the old database removed
};

TEST_F(KilledRestore, HasEveryStepOnTheDiskBeforeTheNext) {
    const rig::FaultRun all = RestoreWith("");
    ASSERT_EQ(all.ExitCode(), 0);
    auto at = all.calls.begin();
    for (const Step &step : kOrder) {
        at = std::find_if(at, all.calls.end(), [&](const rig::CountedCall &call) {
            return call.kind == step.kind && call.path.ends_with(step.path);
        });
        ASSERT_NE(at, all.calls.end()) << step.kind << " " << step.path;
        ++at;
    }
    const auto removals = std::ranges::count_if(all.calls, [](const rig::CountedCall &call) {
        return call.kind == "unlink" && call.path == "data.mdb";
    });
    EXPECT_EQ(removals, 1) << "the order says nothing of one that goes before";
}

// --- What comes after a kill ----------------------------------------------------------------

// What clients wrote to the restored database must be kept.
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

// If the server had been stopped, it is started again too.
TEST_F(KilledRestore, IsRecoveredFromByTheNextJob) {
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
