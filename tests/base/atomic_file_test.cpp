// SPDX-License-Identifier: Apache-2.0
#include "base/atomic_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/work_folder.h"
#include "tests/backup/folder_fixture.h"

namespace zafo::test {
namespace {

class ReplacedFile : public FolderTest {
  protected:
    mode_t Mode(const std::string &name) const {
        struct stat status {};
        EXPECT_EQ(stat(Path(name).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
    static int Replace(const std::string &path, std::string_view text) {
        AtomicFile file(path);
        file.Write(text);
        return file.Commit();
    }

    const std::set<std::string> only_file_ = {"file"};
};

TEST_F(ReplacedFile, HasItsOldTextUntilTheNewOneIsCommitted) {
    Write("file", "old");
    AtomicFile file(Path("file"));
    file.Write("new ");
    file.Write("text");
    EXPECT_EQ(Read("file"), "old");
    EXPECT_EQ(file.Commit(), 0);
    EXPECT_EQ(Read("file"), "new text");
    EXPECT_EQ(Names(), only_file_);
}

TEST_F(ReplacedFile, IsMadeWhenThereIsNone) {
    EXPECT_EQ(Replace(Path("file"), "text"), 0);
    EXPECT_EQ(Read("file"), "text");
    EXPECT_EQ(Mode("file"), 0600U);
}

TEST_F(ReplacedFile, KeepsItsOldTextWhenTheNewOneIsGivenUp) {
    Write("file", "old");
    AtomicFile(Path("file")).Write("new");
    EXPECT_EQ(Read("file"), "old");
    EXPECT_EQ(Names(), only_file_);
}

TEST_F(ReplacedFile, IsNotHinderedByWhatAKilledWriterLeft) {
    Write("file.new", "a part");
    EXPECT_EQ(Replace(Path("file"), "text"), 0);
    EXPECT_EQ(Names(), only_file_);
}

TEST_F(ReplacedFile, IsNotWrittenThroughAPlantedLink) {
    Write("other", "of others");
    ASSERT_EQ(symlink("other", Path("file.new").c_str()), 0);
    EXPECT_EQ(Replace(Path("file"), "text"), 0);
    EXPECT_EQ(Read("other"), "of others");
    EXPECT_EQ(Read("file"), "text");
}

TEST_F(ReplacedFile, GetsTheModeThatWasSetLast) {
    AtomicFile file(Path("file"));
    file.SetMode(0600);
    file.SetMode(0644);
    EXPECT_EQ(file.CommitUnsynced(), 0);
    EXPECT_EQ(Mode("file"), 0644U);
}

TEST_F(ReplacedFile, IsReadableForTheGivenGroup) {
    AtomicFile file(Path("file"));
    file.LetRead(getegid());
    EXPECT_EQ(file.Commit(), 0);
    EXPECT_EQ(Mode("file"), 0640U);
}

TEST_F(ReplacedFile, FailsWithTheReasonOfTheFirstFailure) {
    AtomicFile file(Path("none/file"));
    file.Write("text");
    file.SetMode(0644);
    EXPECT_EQ(file.Commit(), ENOENT);
    EXPECT_EQ(Replace("/dev/null/file", "text"), ENOTDIR);
}

// A short write.
TEST_F(ReplacedFile, KeepsItsOldTextWhenTheNewOneCannotBeWritten) {
    Write("file", "old");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit low{4, before.rlim_max};
    auto *const handler = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
    const int result = Replace(Path("file"), "longer than that");
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(result, EFBIG);
    EXPECT_EQ(Read("file"), "old");
    EXPECT_EQ(Names(), only_file_);
}

TEST_F(ReplacedFile, ReplacedWholeKeepsItsModeAndItsLinks) {
    Write("file", "old");
    ASSERT_EQ(chmod(Path("file").c_str(), 0604), 0);
    ASSERT_EQ(symlink("file", Path("link").c_str()), 0);
    EXPECT_EQ(ReplaceWhole(Path("link"), "new"), 0);
    EXPECT_EQ(Read("file"), "new");
    EXPECT_EQ(Mode("file"), 0604U);
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
}

TEST_F(ReplacedFile, ReplacedWholeMustExist) {
    EXPECT_EQ(ReplaceWhole(Path("file"), "new"), ENOENT);
    EXPECT_TRUE(Names().empty());
}

TEST_F(ReplacedFile, UpdatedUnderItsLockReportsWhyTheLockFailed) {
    EXPECT_EQ(FileUpdate(Path("none/file")).Error(), ENOENT);
    EXPECT_EQ(FileUpdate(Path("file"), UniqueFd()).Error(), EBADF);
    EXPECT_EQ(FileUpdate(Path("file")).Error(), 0);
}

TEST_F(ReplacedFile, IsSyncedByItsNameOrItsFolders) {
    Write("file", "text");
    EXPECT_EQ(SyncFile(Path("file")), 0);
    EXPECT_EQ(SyncFolder(folder_), 0);
    EXPECT_EQ(SyncFolderOf(Path("file")), 0);
    EXPECT_EQ(SyncFolderOf("file"), 0) << "the current folder";
    EXPECT_EQ(SyncFolder(Path("file")), ENOTDIR);
    EXPECT_EQ(SyncFile(Path("none")), ENOENT);
}

TEST(WorkFolder, IsPrivateAndRemovedByItsOwnersDestructor) {
    std::string path;
    {
        const WorkFolder folder("base-test");
        ASSERT_EQ(folder.Error(), 0);
        path = folder.Path();
        EXPECT_TRUE(path.starts_with("/tmp/base-test."));
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0700U);
        EXPECT_EQ(AtomicFile(folder.Path("file")).Commit(), 0);
    }
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(WorkFolder, ReportsWhyItCouldNotBeMade) {
    const WorkFolder folder("no/such");
    EXPECT_EQ(folder.Error(), ENOENT);
}

}  // namespace
}  // namespace zafo::test
