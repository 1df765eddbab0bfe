// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/database_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/unique_fd.h"
#include "tests/backup/folder_fixture.h"
#include "tests/rig/running_tool.h"
#include "tools/backup/job_error.h"
#include "tools/restore/durable_file.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

namespace fs = std::filesystem;

class DatabaseFolder : public FolderTest {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        fs::create_directory(Path("data"));
        Write("data/data.mdb", "database");
        Write("data/lock.mdb", "readers");
    }
};

TEST_F(DatabaseFolder, KeepsItsIdUnderAnotherName) {
    fs::create_directory(Path("data.new"));
    const FolderId one = IdOf(Path("data"));
    const FolderId other = IdOf(Path("data.new"));
    EXPECT_NE(one, 0U);
    EXPECT_NE(one, other);
    SwapFolders(Path("data"), Path("data.new"));
    EXPECT_EQ(IdOf(Path("data")), other);
    EXPECT_EQ(IdOf(Path("data.new")), one);
}

TEST_F(DatabaseFolder, ThatIsMissingHasNoId) {
    EXPECT_EQ(IdOf(Path("none")), 0U);
}

TEST_F(DatabaseFolder, IsNeitherALinkNorAFile) {
    fs::create_directory_symlink("data", Path("link"));
    Write("file", "");
    EXPECT_THROW(IdOf(Path("link")), JobError);
    EXPECT_THROW(IdOf(Path("file")), JobError);
}

TEST_F(DatabaseFolder, IsNotSwappedWithAMissingOne) {
    EXPECT_THROW(SwapFolders(Path("data"), Path("none")), JobError);
    EXPECT_TRUE(fs::exists(Path("data/data.mdb")));
}

TEST_F(DatabaseFolder, IsRemovedWithAllThatIsInIt) {
    fs::create_directories(Path("data/lost+found/deep"));
    fs::create_symlink("/etc/passwd", Path("data/link"));
    RemoveFolder(Path("data"));
    RemoveFolder(Path("data"));
    EXPECT_TRUE(Names().empty());
    EXPECT_TRUE(fs::exists("/etc/passwd"));
}

// The loader of a killed restore ends shortly after it.
TEST_F(DatabaseFolder, IsRemovedWhileFilesAreStillMadeInIt) {
    const std::string folder = Path("data");
    for (int round = 0; round < 20; ++round) {
        fs::create_directories(folder);
        std::atomic<bool> makes = false;
        std::thread loader([&] {
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
            for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
                const std::string path = folder + "/" + std::to_string(i);
                const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
                if (!file.IsOpen()) return;
                makes = true;
            }
        });
        while (!makes)
            std::this_thread::yield();
        EXPECT_NO_THROW(RemoveFolder(folder));
        loader.join();
        EXPECT_FALSE(fs::exists(folder));
    }
}

TEST_F(DatabaseFolder, IsMadeForItsOwnerOnly) {
    MakeDatabaseFolder(Path("data.new"));
    EXPECT_EQ(fs::status(Path("data.new")).permissions(), fs::perms(0700));
    EXPECT_THROW(MakeDatabaseFolder(Path("data.new")), JobError);
}

TEST_F(DatabaseFolder, ThatNoProcessHasOpenIsUnused) {
    EXPECT_FALSE(UserOf(Path("data")));
    EXPECT_FALSE(UserOf(Path("none")));
    AwaitUnused(Path("data"), std::chrono::seconds(0));
}

TEST_F(DatabaseFolder, NamesWhoHasADatabaseFileOpen) {
    for (const char *name : {"data.mdb", "lock.mdb"}) {
        const rig::RunningTool user({"/bin/bash", "-c", "exec sleep 600 7<\"$1\"", "bash",
                                     Path(std::string("data/") + name)});
        std::optional<DatabaseUser> found;
        for (int tries = 0; tries < 1000 && (!found || found->program != "sleep"); ++tries) {
            usleep(10000);
            found = UserOf(Path("data"));
        }
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(found->pid, user.Pid());
        EXPECT_EQ(found->program, "sleep");
        try {
            AwaitUnused(Path("data"), std::chrono::seconds(0));
            FAIL() << "it is in use";
        } catch (const JobError &error) {
            EXPECT_EQ(error.code, Exit::kServer);
            EXPECT_NE(std::string(error.what()).find("(sleep)"), std::string::npos);
        }
    }
}

// --- Files that last ----------------------------------------------------------------------

class DurableFile : public FolderTest {};

TEST_F(DurableFile, IsPrivateAndAlone) {
    WriteDurably(Path("file"), "one");
    WriteDurably(Path("file"), "two");
    EXPECT_EQ(Read("file"), "two");
    EXPECT_EQ(fs::status(Path("file")).permissions(), fs::perms(0600));
    EXPECT_EQ(Names(), std::set<std::string>{"file"});
}

TEST_F(DurableFile, ReplacesWhatAKilledWriterLeft) {
    Write("file.part", "half");
    WriteDurably(Path("file"), "whole");
    EXPECT_EQ(Read("file"), "whole");
    EXPECT_EQ(Names(), std::set<std::string>{"file"});
}

TEST_F(DurableFile, ThatCannotBeInstalledLeavesNothing) {
    fs::create_directories(Path("file/full"));
    EXPECT_THROW(WriteDurably(Path("file"), "text"), JobError);
    EXPECT_EQ(Names(), std::set<std::string>{"file"});
    EXPECT_THROW(WriteDurably(Path("none/file"), "text"), JobError);
}

TEST_F(DurableFile, IsRemovedOnceAndForGood) {
    Write("file", "");
    RemoveDurably(Path("file"));
    RemoveDurably(Path("file"));
    EXPECT_TRUE(Names().empty());
}

TEST(RootPartition, ThatIsFullHasItsOwnCode) {
    EXPECT_EQ(RootError("cannot write", ENOSPC).code, Exit::kRootFullWhileWriting);
    EXPECT_EQ(RootError("cannot write", EDQUOT).code, Exit::kRootFullWhileWriting);
    EXPECT_EQ(RootError("cannot write", EIO).code, Exit::kSystem);
}

}  // namespace
}  // namespace zafo::test
