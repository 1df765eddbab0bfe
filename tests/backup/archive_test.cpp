// SPDX-License-Identifier: Apache-2.0
//
// The reader reads what the writer writes, and so can other programs.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/backup/folder_fixture.h"
#include "tests/backup/sealed_archive.h"
#include "tests/rig/build.h"
#include "tests/rig/running_tool.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/archive_writer.h"
#include "tools/backup/job_error.h"

namespace {

using namespace zafo;
using namespace zafo::backup;
using namespace zafo::test;

constexpr std::string_view kSuffix = "dc=example,dc=com";

Manifest OwnPart() {
    return {.product_version = "5.0.0",
            .task = "backup",
            .number = 3,
            .created = "2027-02-28T14:03:00Z",
            .suffix = std::string(kSuffix),
            .slapd_version = "2.5.13"};
}

std::string Record(size_t number, size_t size = 0) {
    return "dn: cn=" + std::to_string(number) +
           ",dc=example,dc=com\ncn: " + std::to_string(number) +
           "\ndescription: " + std::string(size, 'x') + "\n\n";
}

std::string Entries(size_t count, size_t size = 0) {
    std::string text = "dn: dc=example,dc=com\ndc: example\n\n";
    for (size_t i = 1; i < count; ++i)
        text += Record(i, size);
    return text;
}

// A backup whose `entries` are written in blocks of one size.
UniqueFd Written(std::string_view entries, size_t block, Manifest *manifest = nullptr) {
    UniqueFd fd = InMemory("");
    ArchiveWriter writer(fd.Get(), "the backup", 1000000000, kSuffix);
    writer.AddFile(kSlapdConfMember, "suffix dc=example,dc=com\n");
    writer.AddFile(kConnectionMember, "[root]\nbindpw=secret\n");
    for (size_t at = 0; at < entries.size(); at += block)
        writer.AddEntries(entries.substr(at, block));
    const Manifest whole = writer.Finish(OwnPart());
    if (manifest != nullptr) *manifest = whole;
    return fd;
}

std::string EntriesOf(int fd) {
    std::string text;
    ReadArchive(fd, "the backup", [&](std::string_view block) { text += block; });
    return text;
}

TEST(BackupArchive, GivesBackWhatWasWrittenWhateverTheBlocks) {
    const std::string entries = Entries(50);
    for (const size_t block : {size_t{1}, size_t{2}, size_t{7}, size_t{64}, entries.size()}) {
        const UniqueFd fd = Written(entries, block);
        EXPECT_EQ(EntriesOf(fd.Get()), entries) << block;
    }
}

TEST(BackupArchive, DescribesItsContentsInTheManifest) {
    Manifest written;
    const std::string entries = Entries(50);
    const UniqueFd fd = Written(entries, 100, &written);
    const Contents contents = ReadArchive(fd.Get(), "the backup");
    EXPECT_EQ(contents.manifest, written);
    EXPECT_EQ(written.entries, 50u);
    EXPECT_EQ(written.ldif_bytes, entries.size());
    EXPECT_EQ(written.sha256, Sha256Of(entries));
    EXPECT_EQ(written.suffix, kSuffix);
    EXPECT_EQ(written.format, 1);
}

TEST(BackupArchive, GivesBackTheConfiguration) {
    const UniqueFd fd = Written(Entries(1), 100);
    const Contents contents = ReadArchive(fd.Get(), "the backup");
    ASSERT_NE(contents.Config(kSlapdConfMember), nullptr);
    EXPECT_EQ(*contents.Config(kSlapdConfMember), "suffix dc=example,dc=com\n");
    ASSERT_NE(contents.Config(kConnectionMember), nullptr);
    EXPECT_EQ(*contents.Config(kConnectionMember), "[root]\nbindpw=secret\n");
    EXPECT_EQ(contents.Config(kAccessRulesMember), nullptr);
}

TEST(BackupArchive, IsWrittenByHandTheSameWay) {
    const UniqueFd fd = InMemory(Sealed(Packed(GoodMembers())));
    EXPECT_EQ(ReadArchive(fd.Get(), "the backup").manifest, GoodManifest());
}

TEST(BackupArchive, NeedsNoConnectionAndNoConfiguration) {
    const UniqueFd fd = InMemory("");
    ArchiveWriter writer(fd.Get(), "the backup", 0);
    writer.AddEntries(Entries(2));
    writer.Finish(OwnPart());
    EXPECT_TRUE(ReadArchive(fd.Get(), "the backup").config.empty());
}

class BackupArchiveOnDisk : public FolderTest {};

TEST_F(BackupArchiveOnDisk, IsUnpackedByTarAndZstd) {
    const std::string entries = Entries(20);
    const UniqueFd memory = Written(entries, 64);
    Write("a.tar.zst", Bytes(memory.Get()));
    const auto run =
        rig::RunTool({"/bin/sh", "-c", "zstd -dc a.tar.zst | tar -xf - && cat data/*.ldif"},
                     {"PATH=/usr/bin:/bin"}, folder_);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, entries);
    EXPECT_EQ(Read("format"), "zafoldap-backup 1\n");
    EXPECT_EQ(Read("config/slapd.conf"), "suffix dc=example,dc=com\n");
    struct stat status {};
    ASSERT_EQ(stat((folder_ + "/config/ldapbrowser.conf").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST_F(BackupArchiveOnDisk, CutsPiecesBetweenRecords) {
    const std::string entries = Entries(3000, 4096);
    const UniqueFd memory = Written(entries, 1 << 16);
    Write("a.tar.zst", Bytes(memory.Get()));
    const auto run = rig::RunTool({"/bin/sh", "-c", "zstd -dc a.tar.zst | tar -xf -"},
                                  {"PATH=/usr/bin:/bin"}, folder_);
    ASSERT_EQ(run.status, 0) << run.output;
    std::string all;
    for (int piece = 1; piece <= 3; ++piece) {
        const std::string text = Read("data/00000" + std::to_string(piece) + ".ldif");
        EXPECT_LE(text.size(), kPieceBytes);
        EXPECT_TRUE(text.starts_with("dn: ")) << piece;
        EXPECT_TRUE(text.ends_with("\n\n")) << piece;
        all += text;
    }
    EXPECT_EQ(all, entries.substr(0, all.size()));
    EXPECT_EQ(EntriesOf(memory.Get()), entries);
}

// Such as a photo of many megabytes.
TEST(BackupArchive, HoldsARecordThatIsLongerThanAPiece) {
    const std::string entries = Entries(2) + Record(9, 3 * kPieceBytes) + Record(10);
    const UniqueFd fd = Written(entries, 1 << 16);
    EXPECT_EQ(EntriesOf(fd.Get()), entries);
}

// Through a single descriptor, as the restore does.
TEST(BackupArchive, IsReadAgainFromTheStart) {
    const UniqueFd fd = Written(Entries(5), 100);
    EXPECT_EQ(EntriesOf(fd.Get()), EntriesOf(fd.Get()));
}

TEST(BackupArchive, PassesOnWhatItsReaderThrows) {
    const UniqueFd fd = Written(Entries(5), 100);
    try {
        ReadArchive(fd.Get(), "the backup",
                    [](std::string_view) { throw JobError(Exit::kDatabaseFull, "no more"); });
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kDatabaseFull);
        EXPECT_STREQ(error.what(), "no more");
    }
}

TEST(BackupArchive, ReportsAFullDiskAsSuch) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ASSERT_TRUE(full.IsOpen());
    ArchiveWriter writer(full.Get(), "/b/file", 0);
    try {
        writer.Finish(OwnPart());
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kFullWhileWriting);
        EXPECT_STREQ(error.what(), "cannot write /b/file: No space left on device");
    }
}

TEST(BackupArchive, RefusesAConfigurationFileWithoutBounds) {
    const UniqueFd fd = InMemory("");
    ArchiveWriter writer(fd.Get(), "the backup", 0);
    EXPECT_THROW(writer.AddFile(kSlapdConfMember, std::string(kLargestConfig + 1, 'x')), JobError);
}

// Measures the peak memory of a process that does nothing but read.
TEST_F(BackupArchiveOnDisk, TakesTheSameMemoryForAnySize) {
    if (zafo::rig::IsSanitized()) GTEST_SKIP() << "the sanitizer keeps what was freed";
    const auto peak_after = [&](size_t records) {
        int ends[2];
        if (pipe(ends) != 0) return -1L;
        const pid_t child = fork();
        if (child == 0) {
            UniqueFd fd(open((folder_ + "/large").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600));
            {
                ArchiveWriter writer(fd.Get(), "large", 0, kSuffix);
                writer.AddEntries("dn: dc=example,dc=com\n\n");
                for (size_t i = 0; i < records; ++i)
                    writer.AddEntries(Record(i, 4096));
                writer.Finish(OwnPart());
            }
            ReadArchive(fd.Get(), "large");
            rusage usage{};
            getrusage(RUSAGE_SELF, &usage);
            _exit(write(ends[1], &usage.ru_maxrss, sizeof usage.ru_maxrss) > 0 ? 0 : 1);
        }
        long peak = -1;
        close(ends[1]);
        if (read(ends[0], &peak, sizeof peak) != sizeof peak) peak = -1;
        close(ends[0]);
        waitpid(child, nullptr, 0);
        return peak;
    };
    const long small = peak_after(4000);
    const long large = peak_after(40000);
    ASSERT_GT(small, 0);
    ASSERT_GT(large, 0);
    EXPECT_LT(large, small + 4 * 1024) << "KiB";
    EXPECT_LT(large, 64 * 1024) << "KiB";
}

}  // namespace
