// SPDX-License-Identifier: Apache-2.0
//
// Settling on real folders; slapcat says what it is told.
#include "tools/restore/settle.h"

#include <fcntl.h>
#include <unistd.h>

#include "tests/backup/folder_fixture.h"
#include "tests/rig/fake_tool.h"
#include "tools/backup/job_lock.h"
#include "tools/backup/problem.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

namespace fs = std::filesystem;

class Settling : public FolderTest {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        std::ofstream(cli::kSlapdConf) << "suffix dc=example,dc=com\n";
        fs::create_directory(Path("data"));
        fs::create_directory(Path("data.new"));
        Write("data/which", "old");
        Write("data.new/which", "new");
        journal_ = {.old_folder = IdOf(Path("data")), .new_folder = IdOf(Path("data.new"))};
    }

    void Exchanged() const { Exchange(Path("data"), Path("data.new")); }

    void WriteJournal(JournalState state) {
        journal_.state = state;
        WriteDurably(Path("restore.journal"), TextOf(journal_));
    }

    void HoldsEntry(bool yes) {
        auto slapcat = tools_.On("slapcat");
        if (yes) slapcat.Output("dn: dc=example,dc=com\n\n");
        slapcat.Exit(yes ? 0 : 1);
    }

    // The only one that is left.
    void ExpectLeft(const std::string &which) const {
        EXPECT_EQ(Read("data/which"), which);
        EXPECT_EQ(Names(), std::set<std::string>{"data"});
    }

    Exit FailureOfSettling() const {
        try {
            SettleBeforeStart(Places(folder_));
        } catch (const Problem &problem) {
            return problem.code;
        }
        return Exit::kDone;
    }

    rig::FakeTools tools_;
    Journal journal_;
};

TEST_F(Settling, WithoutAJournalRemovesTheCopy) {
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(Settling, BeforeTheExchangeRemovesTheCopy) {
    WriteJournal(JournalState::kExchange);
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Settling, AfterTheExchangeKeepsARestoredDatabaseThatIsGood) {
    for (const JournalState state : {JournalState::kExchange, JournalState::kStarting}) {
        TearDown();
        folder_ = "/tmp/backups.XXXXXX";
        SetUp();
        WriteJournal(state);
        Exchanged();
        HoldsEntry(true);
        SettleBeforeStart(Places(folder_));
        ExpectLeft("new");
    }
}

TEST_F(Settling, AfterTheExchangePutsTheOldOneBackWhenTheRestoredIsNoGood) {
    WriteJournal(JournalState::kStarting);
    Exchanged();
    HoldsEntry(false);
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Settling, OfAnUndoneRestorePutsTheOldOneBackUnasked) {
    WriteJournal(JournalState::kUndo);
    Exchanged();
    HoldsEntry(true);
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(Settling, AsksSlapcatForTheEntryOfTheSuffixAndNoOther) {
    WriteJournal(JournalState::kStarting);
    Exchanged();
    HoldsEntry(true);
    SettleBeforeStart(Places(folder_));
    ASSERT_EQ(tools_.Calls().size(), 1U);
    EXPECT_EQ(tools_.Calls()[0].argv.back(), "ldap:///dc=example,dc=com??base");
}

TEST_F(Settling, OfWhatIsUnclearTouchesNothingAndStopsTheStart) {
    Write("restore.journal", "junk");
    HoldsEntry(false);
    EXPECT_EQ(FailureOfSettling(), Exit::kSystem);
    EXPECT_EQ(Names(), (std::set<std::string>{"data", "data.new", "restore.journal"}));
    EXPECT_EQ(Read("data/which"), "old");
}

TEST_F(Settling, OfAJournalOfJunkKeepsADatabaseThatIsGood) {
    Write("restore.journal", "junk");
    HoldsEntry(true);
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Settling, RemovesAJournalThatWasNotFinished) {
    fs::remove_all(Path("data.new"));
    Write("restore.journal.part", "zafoldap-res");
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
}

TEST_F(Settling, OfADatabaseInUseDoesNotTakeItAway) {
    WriteJournal(JournalState::kUndo);
    Exchanged();
    Write("data/data.mdb", "database");
    const UniqueFd reader(open(Path("data/data.mdb").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(FailureOfSettling(), Exit::kServer);
    EXPECT_EQ(Read("data/which"), "new");
    EXPECT_TRUE(fs::exists(Path("restore.journal")));
}

// --- While a restore is at work -----------------------------------------------------------

class SettlingBesideAJob : public Settling {
  protected:
    void SetUp() override {
        Settling::SetUp();
        lock_.emplace();
    }
    void WriteAs(const ProcessId &writer, JournalState state) {
        journal_.writer = writer;
        WriteJournal(state);
    }
    std::set<std::string> All() const { return {"data", "data.new", "restore.journal"}; }

    std::optional<JobLock> lock_;
};

TEST_F(SettlingBesideAJob, LeavesTheCopyThatIsBeingLoaded) {
    SettleBeforeStart(Places(folder_));
    EXPECT_EQ(Names(), (std::set<std::string>{"data", "data.new"}));
}

TEST_F(SettlingBesideAJob, StopsTheStartWhileTheDatabaseIsExchanged) {
    for (const JournalState state : {JournalState::kExchange, JournalState::kUndo}) {
        WriteAs(ProcessId::Own(), state);
        EXPECT_EQ(FailureOfSettling(), Exit::kBusy);
        EXPECT_EQ(Names(), All());
    }
}

TEST_F(SettlingBesideAJob, LetsTheRestoredServerStart) {
    WriteAs(ProcessId::Own(), JournalState::kStarting);
    Exchanged();
    SettleBeforeStart(Places(folder_));
    EXPECT_EQ(Names(), All());
    EXPECT_EQ(Read("data/which"), "new");
}

// A backup has the lock, and the journal is of a restore that is dead.
TEST_F(SettlingBesideAJob, SettlesWhatADeadRestoreHasLeft) {
    ProcessId dead = ProcessId::Own();
    ++dead.started;
    WriteAs(dead, JournalState::kExchange);
    SettleBeforeStart(Places(folder_));
    ExpectLeft("old");
}

}  // namespace
}  // namespace zafo::test
