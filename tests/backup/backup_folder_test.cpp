// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/backup_folder.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/backup/folder_fixture.h"
#include "tests/backup/sealed_archive.h"
#include "tools/backup/job_error.h"

namespace {

using namespace zafo;
using namespace zafo::backup;
using testing::ElementsAre;
using testing::IsEmpty;

// A backup, byte for byte.
const std::string &Whole() {
    static const std::string bytes = test::Sealed(test::Packed(test::GoodMembers()));
    return bytes;
}

class BackupFolder : public test::FolderTest {
  protected:
    void WriteBackup(const std::string &name) const { Write(name, Whole()); }

    // Why the only file with a backup's name there does not count.
    std::string PassedOver() const {
        const FolderContents contents = LookInto(folder_, "zafoldap");
        EXPECT_THAT(contents.backups, IsEmpty());
        EXPECT_EQ(contents.passed_over.size(), 1u);
        return contents.passed_over.empty() ? "" : contents.passed_over.front().reason;
    }

    std::vector<std::string> Found(std::string_view prefix = "zafoldap") const {
        std::vector<std::string> names;
        for (const FoundBackup &found : BackupsIn(folder_, prefix))
            names.push_back(found.path.substr(folder_.size() + 1));
        return names;
    }
};

constexpr const char *kOne = "zafoldap-000001-20270228T140300Z.tar.zst";
constexpr const char *kTwo = "zafoldap-000002-20270228T140300Z.tar.zst";
constexpr const char *kThree = "zafoldap-000003-20250101T000000Z.tar.zst";
constexpr const char *kFour = "zafoldap-1000000-20240101T000000Z.tar.zst";

TEST(BackupName, HasNumberAndTime) {
    EXPECT_EQ(BackupName("zafoldap", 1, 1803823380), kOne);
    EXPECT_EQ(BackupName("zafoldap", 1000000, 1704067200), kFour);
}

TEST(BackupName, BeginsWithAPlainPrefix) {
    for (const char *prefix : {"zafoldap", "a", "office-2_B"})
        EXPECT_TRUE(IsPrefix(prefix)) << prefix;
    for (const std::string &prefix :
         {std::string(), std::string("a/b"), std::string("."), std::string(".."),
          std::string("a b"), std::string("a\n"), std::string("ä"), std::string(65, 'a')})
        EXPECT_FALSE(IsPrefix(prefix)) << prefix;
}

TEST_F(BackupFolder, OrdersByNumberWhateverTheClockSaid) {
    for (const char *name : {kTwo, kFour, kOne, kThree})
        WriteBackup(name);
    EXPECT_THAT(Found(), ElementsAre(kFour, kThree, kTwo, kOne));
}

TEST_F(BackupFolder, ReportsNumberTimeAndSize) {
    WriteBackup(kOne);
    const auto found = BackupsIn(folder_, "zafoldap");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, Path(kOne));
    EXPECT_EQ(found[0].number, 1u);
    EXPECT_EQ(found[0].written, 1803823380);
    EXPECT_EQ(found[0].bytes, Whole().size());
}

TEST_F(BackupFolder, CountsOnFromTheHighestNumber) {
    EXPECT_EQ(NextNumber({}), 1u);
    for (const char *name : {kOne, kThree})
        WriteBackup(name);
    EXPECT_EQ(NextNumber(BackupsIn(folder_, "zafoldap")), 4u);
    WriteBackup(kFour);
    EXPECT_EQ(NextNumber(BackupsIn(folder_, "zafoldap")), 1000001u);
}

const char *const kForeign[] = {
    "README",
    "zafoldap.tar.zst",
    "zafoldap-000001-20270228T140300Z.tar.zst.old",
    ".zafoldap-000001-20270228T140300Z.tar.zst",
    "zafoldap-00001-20270228T140300Z.tar.zst",
    "zafoldap-0000001-20270228T140300Z.tar.zst",
    "zafoldap-00000x-20270228T140300Z.tar.zst",
    "zafoldap-+00001-20270228T140300Z.tar.zst",
    "zafoldap-000001-20270230T140300Z.tar.zst",
    "zafoldap-000001-20270228T250300Z.tar.zst",
    "zafoldap-000001-20270228 140300Z.tar.zst",
    "zafoldap-000001-20270228T140300.tar.zst",
    "zafoldap-000001.tar.zst",
    "zafoldap-1000000000000000000-20270228T140300Z.tar.zst",
    "Zafoldap-000001-20270228T140300Z.tar.zst",
    "zafoldap2-000001-20270228T140300Z.tar.zst",
    "zafoldap--000001-20270228T140300Z.tar.zst",
};

TEST_F(BackupFolder, KnowsOnlyItsOwnNames) {
    for (const char *name : kForeign)
        WriteBackup(name);
    EXPECT_THAT(Found(), IsEmpty());
}

TEST_F(BackupFolder, KnowsOnlyItsOwnPrefix) {
    WriteBackup(kOne);
    WriteBackup("other-000005-20270228T140300Z.tar.zst");
    EXPECT_THAT(Found(), ElementsAre(kOne));
    EXPECT_THAT(Found("other"), ElementsAre("other-000005-20270228T140300Z.tar.zst"));
    EXPECT_THAT(Found("zafo"), IsEmpty());
}

TEST_F(BackupFolder, KnowsOnlyRegularFiles) {
    WriteBackup("real");
    ASSERT_EQ(symlink("real", Path(kOne).c_str()), 0);
    ASSERT_EQ(mkdir(Path(kTwo).c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(Path(kThree).c_str(), 0600), 0);
    EXPECT_THAT(Found(), IsEmpty());
}

TEST_F(BackupFolder, SkipsFilesWithoutASeal) {
    Write(kOne, Whole().substr(0, Whole().size() / 2));
    EXPECT_EQ(PassedOver(),
              "it does not end with the seal of a backup: it is cut short or not a backup");
}

TEST_F(BackupFolder, SkipsAnEmptyFile) {
    Write(kOne, "");
    EXPECT_EQ(PassedOver(), "the file is empty");
}

TEST_F(BackupFolder, SkipsASealedFileThatBeginsLikeNoBackup) {
    Write(kOne, test::Sealed(test::Packed({{"README", "x"}})));
    EXPECT_EQ(PassedOver(), "it is not a backup");
}

TEST_F(BackupFolder, SkipsANumberThatNoBackupGets) {
    WriteBackup("zafoldap-999999999999999999-20270228T140300Z.tar.zst");
    EXPECT_EQ(PassedOver(), "its number is too high for a backup");
}

TEST_F(BackupFolder, SkipsFilesOfAnotherUser) {
    WriteBackup(kOne);
    if (chown(Path(kOne).c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "there is only one account here";
    EXPECT_EQ(PassedOver(), "it belongs to user 65534, not to root");
}

TEST_F(BackupFolder, KnowsABackupOfANewerFormat) {
    std::vector<test::Member> members = test::GoodMembers();
    members[0].bytes = "zafoldap-backup 2\n";
    Write(kOne, test::Sealed(test::Packed(members)));
    EXPECT_THAT(Found(), ElementsAre(kOne));
}

TEST_F(BackupFolder, NamesAFewOfManyThatDoNotCount) {
    for (int i = 1; i <= 9; ++i)
        Write(BackupName("zafoldap", static_cast<std::uint64_t>(i), 0), "");
    const std::vector<std::string> words = InWords(LookInto(folder_, "zafoldap").passed_over);
    ASSERT_EQ(words.size(), 6u);
    EXPECT_EQ(words[0], Path("zafoldap-000001-19700101T000000Z.tar.zst") +
                            " does not count: the file is empty");
    EXPECT_EQ(words[5], "4 more files there do not count");
}

TEST_F(BackupFolder, SaysWhenNumbersAreUsedUp) {
    WriteBackup(BackupName("zafoldap", kHighestNumber, 0));
    const auto found = BackupsIn(folder_, "zafoldap");
    ASSERT_EQ(found.size(), 1u);
    try {
        NextNumber(found);
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kSystem);
        EXPECT_EQ(error.what(),
                  found[0].path +
                      " has the highest number that a backup can have: move it to another folder");
    }
}

TEST_F(BackupFolder, ThatDoesNotExistIsReported) {
    try {
        BackupsIn(Path("none"), "zafoldap");
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kBadPlace);
        EXPECT_EQ(error.what(), "cannot read " + Path("none") + ": No such file or directory");
    }
}

TEST_F(BackupFolder, ThinsToTheNewestNumbers) {
    for (const char *name : {kOne, kTwo, kThree, kFour})
        WriteBackup(name);
    EXPECT_THAT(Thin(folder_, "zafoldap", 2), ElementsAre(Path(kTwo), Path(kOne)));
    EXPECT_THAT(Names(), ElementsAre(kThree, kFour));
}

TEST_F(BackupFolder, KeepsTheNewestWhateverIsAskedFor) {
    for (const char *name : {kOne, kTwo})
        WriteBackup(name);
    Thin(folder_, "zafoldap", 0);
    EXPECT_THAT(Names(), ElementsAre(kTwo));
    EXPECT_THAT(Thin(folder_, "zafoldap", ~std::uint64_t{0}), IsEmpty());
    EXPECT_THAT(Names(), ElementsAre(kTwo));
}

TEST_F(BackupFolder, NeverThinsWhatIsNotItsOwn) {
    std::set<std::string> kept(std::begin(kForeign), std::end(kForeign));
    for (const std::string &name : kept)
        WriteBackup(name);
    WriteBackup("other-000001-20270228T140300Z.tar.zst");
    ASSERT_EQ(mkdir(Path(kOne).c_str(), 0700), 0);
    ASSERT_EQ(symlink("README", Path(kTwo).c_str()), 0);
    kept.insert({"other-000001-20270228T140300Z.tar.zst", kOne, kTwo});
    WriteBackup("zafoldap-000008-20270228T140300Z.tar.zst");
    WriteBackup("zafoldap-000009-20270228T140300Z.tar.zst");
    Thin(folder_, "zafoldap", 1);
    kept.insert("zafoldap-000009-20270228T140300Z.tar.zst");
    EXPECT_EQ(Names(), kept);
}

TEST_F(BackupFolder, GivesAFinishedFileItsName) {
    PartFile part(folder_, kOne);
    EXPECT_EQ(part.Path(), Path("." + std::string(kOne) + ".part"));
    ASSERT_EQ(write(part.Fd(), "x", 1), 1);
    part.Sync();
    EXPECT_THAT(Found(), IsEmpty());
    EXPECT_EQ(part.PutInPlace(), Path(kOne));
    EXPECT_THAT(Names(), ElementsAre(kOne));
    struct stat status {};
    ASSERT_EQ(stat(Path(kOne).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0600u);
}

TEST_F(BackupFolder, KeepsAFinishedFileWithoutItsWriter) {
    { PartFile(folder_, kOne).PutInPlace(); }
    EXPECT_THAT(Names(), ElementsAre(kOne));
}

TEST_F(BackupFolder, ForgetsAnUnfinishedFileWithItsWriter) {
    { const PartFile part(folder_, kOne); }
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BackupFolder, NeverOverwritesABackup) {
    PartFile part(folder_, kOne);
    Write(kOne, "another");
    EXPECT_THROW(part.PutInPlace(), JobError);
    EXPECT_EQ(Read(kOne), "another");
}

TEST_F(BackupFolder, DoesNotAcceptAFileThatReplacedItsOwn) {
    PartFile part(folder_, kOne);
    std::filesystem::remove(part.Path());
    Write("." + std::string(kOne) + ".part", "another");
    EXPECT_THROW(part.PutInPlace(), JobError);
}

TEST_F(BackupFolder, ThatGoesAwayMeanwhileIsRefused) {
    PartFile part(folder_, kOne);
    std::filesystem::remove_all(folder_);
    try {
        part.PutInPlace();
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kBadPlace);
    }
}

TEST_F(BackupFolder, RemovesThePartsOfDeadRuns) {
    Write(".zafoldap-000001-20270228T140300Z.tar.zst.part", "x");
    Write(".zafoldap-000002-20270228T140300Z.tar.zst.part", "x");
    RemoveLeftParts(folder_, "zafoldap");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(BackupFolder, KeepsThePartOfALiveRunAndForeignFiles) {
    const PartFile live(folder_, kOne);
    const std::set<std::string> foreign = {".zafoldap.part", ".part",
                                           ".other-000001-20270228T140300Z.tar.zst.part",
                                           "zafoldap-000001-20270228T140300Z.tar.zst.part", kTwo};
    for (const std::string &name : foreign)
        Write(name, "x");
    ASSERT_EQ(symlink(kTwo, Path("." + std::string(kTwo) + ".part").c_str()), 0);
    std::set<std::string> before = Names();
    RemoveLeftParts(folder_, "zafoldap");
    EXPECT_EQ(Names(), before);
}

}  // namespace
