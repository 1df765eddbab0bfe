// SPDX-License-Identifier: Apache-2.0
//
// Recovery on real folders, with a scripted slapcat.
#include "tools/restore/recovery.h"

#include <fcntl.h>
#include <unistd.h>

#include "tests/backup/folder_fixture.h"
#include "tests/rig/fake_tool.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

namespace fs = std::filesystem;

class Recovery : public FolderTest {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        std::ofstream(kSlapdConf) << "suffix dc=example,dc=com\n";
        fs::create_directory(Path("data"));
        fs::create_directory(Path("data.new"));
        Write("data/which", "old");
        Write("data.new/which", "new");
        journal_ = {.old_folder = IdOf(Path("data")), .new_folder = IdOf(Path("data.new"))};
    }

    void Swap() const { SwapFolders(Path("data"), Path("data.new")); }

    void WriteJournal(JournalState state) {
        journal_.state = state;
        WriteDurably(Path("restore.journal"), TextOf(journal_));
    }

    void HoldsEntry(bool yes) {
        auto slapcat = tools_.On("slapcat");
        if (yes) slapcat.Output("dn: dc=example,dc=com\n\n");
        slapcat.Exit(yes ? 0 : 1);
    }

    // Expects that only this one is left.
    void ExpectLeft(const std::string &which) const {
        EXPECT_EQ(Read("data/which"), which);
        EXPECT_EQ(Names(), std::set<std::string>{"data"});
    }

    Exit FailureOfRecovery() const {
        try {
            RecoverBeforeStart(Places(folder_));
        } catch (const JobError &error) {
            return error.code;
        }
        return Exit::kDone;
    }

    rig::FakeTools tools_;
    Journal journal_;
};

TEST_F(Recovery, WithoutAJournalRemovesTheCopy) {
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(Recovery, BeforeTheExchangeRemovesTheCopy) {
    WriteJournal(JournalState::kExchange);
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Recovery, AfterTheExchangeKeepsARestoredDatabaseThatIsGood) {
    for (const JournalState state : {JournalState::kExchange, JournalState::kStarting}) {
        TearDown();
        folder_ = "/tmp/backups.XXXXXX";
        SetUp();
        WriteJournal(state);
        Swap();
        HoldsEntry(true);
        RecoverBeforeStart(Places(folder_));
        ExpectLeft("new");
    }
}

TEST_F(Recovery, AfterTheExchangePutsTheOldOneBackWhenTheRestoredIsBad) {
    WriteJournal(JournalState::kStarting);
    Swap();
    HoldsEntry(false);
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Recovery, OfAnUndoneRestorePutsTheOldOneBackUnasked) {
    WriteJournal(JournalState::kUndo);
    Swap();
    HoldsEntry(true);
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(Recovery, AsksSlapcatForTheEntryOfTheSuffixAndNoOther) {
    WriteJournal(JournalState::kStarting);
    Swap();
    HoldsEntry(true);
    RecoverBeforeStart(Places(folder_));
    ASSERT_EQ(tools_.Calls().size(), 1U);
    EXPECT_EQ(tools_.Calls()[0].argv.back(), "ldap:///dc=example,dc=com??base");
}

TEST_F(Recovery, OfWhatIsUnclearTouchesNothingAndStopsTheStart) {
    Write("restore.journal", "junk");
    HoldsEntry(false);
    EXPECT_EQ(FailureOfRecovery(), Exit::kSystem);
    EXPECT_EQ(Names(), (std::set<std::string>{"data", "data.new", "restore.journal"}));
    EXPECT_EQ(Read("data/which"), "old");
}

TEST_F(Recovery, OfAJournalOfJunkKeepsADatabaseThatIsGood) {
    Write("restore.journal", "junk");
    HoldsEntry(true);
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Recovery, RemovesAJournalThatWasNotFinished) {
    fs::remove_all(Path("data.new"));
    Write("restore.journal.part", "zafoldap-res");
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Recovery, OfADatabaseInUseDoesNotRemoveIt) {
    WriteJournal(JournalState::kUndo);
    Swap();
    Write("data/data.mdb", "database");
    const UniqueFd reader(open(Path("data/data.mdb").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(FailureOfRecovery(), Exit::kServer);
    EXPECT_EQ(Read("data/which"), "new");
    EXPECT_TRUE(fs::exists(Path("restore.journal")));
}

// --- While a restore is at work -----------------------------------------------------------

class RecoveryBesideAJob : public Recovery {
  protected:
    void SetUp() override {
        Recovery::SetUp();
        lock_.emplace();
    }
    void WriteAs(const ProcessId &writer, JournalState state) {
        journal_.writer = writer;
        WriteJournal(state);
    }
    std::set<std::string> All() const { return {"data", "data.new", "restore.journal"}; }

    std::optional<JobLock> lock_;
};

TEST_F(RecoveryBesideAJob, LeavesTheCopyThatIsBeingLoaded) {
    RecoverBeforeStart(Places(folder_));
    EXPECT_EQ(Names(), (std::set<std::string>{"data", "data.new"}));
}

TEST_F(RecoveryBesideAJob, StopsTheStartWhileTheDatabaseIsExchanged) {
    for (const JournalState state : {JournalState::kExchange, JournalState::kUndo}) {
        WriteAs(ProcessId::Own(), state);
        EXPECT_EQ(FailureOfRecovery(), Exit::kBusy);
        EXPECT_EQ(Names(), All());
    }
}

TEST_F(RecoveryBesideAJob, LetsTheRestoredServerStart) {
    WriteAs(ProcessId::Own(), JournalState::kStarting);
    Swap();
    RecoverBeforeStart(Places(folder_));
    EXPECT_EQ(Names(), All());
    EXPECT_EQ(Read("data/which"), "new");
}

// A backup holds the lock, and the journal is that of a dead restore.
TEST_F(RecoveryBesideAJob, RecoversWhatADeadRestoreHasLeft) {
    ProcessId dead = ProcessId::Own();
    ++dead.started;
    WriteAs(dead, JournalState::kExchange);
    RecoverBeforeStart(Places(folder_));
    ExpectLeft("old");
}

}  // namespace
}  // namespace zafo::test
