// SPDX-License-Identifier: Apache-2.0
//
// Files that are not exactly our backup format are refused, with the exit code for the reason.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include <gtest/gtest.h>

#include "tests/backup/folder_fixture.h"
#include "tests/backup/sealed_archive.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/job_error.h"

namespace {

using namespace zafo;
using namespace zafo::backup;
using namespace zafo::test;

// The code with which a file is refused; nullopt when it is accepted.
std::optional<Exit> Refusal(std::string_view bytes, std::string *words = nullptr) {
    const UniqueFd fd = InMemory(bytes);
    try {
        ReadArchive(fd.Get(), "/b/x.tar.zst");
        return std::nullopt;
    } catch (const JobError &error) {
        if (words != nullptr) *words = error.what();
        return error.code;
    }
}

const std::string &Good() {
    static const std::string bytes = Sealed(Packed(GoodMembers()));
    return bytes;
}

TEST(DamagedBackup, IsNotWhatTheUndamagedIs) {
    EXPECT_EQ(Refusal(Good()), std::nullopt);
}

TEST(DamagedBackup, IsSeenAtEveryByte) {
    for (size_t at = 0; at < Good().size(); ++at) {
        std::string bytes = Good();
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << (at % 8)));
        ASSERT_EQ(Refusal(bytes), Exit::kDamaged) << "byte " << at << " of " << bytes.size();
    }
}

TEST(DamagedBackup, IsSeenAtEveryLength) {
    for (size_t size = 1; size < Good().size(); ++size)
        ASSERT_EQ(Refusal(std::string_view(Good()).substr(0, size)), Exit::kDamaged) << size;
}

TEST(DamagedBackup, IsSeenWhenSomethingIsAdded) {
    for (const std::string &more :
         {std::string(1, '\0'), std::string("\n"), std::string(4096, '\0'), Good()})
        EXPECT_EQ(Refusal(Good() + more), Exit::kDamaged) << more.size();
}

TEST(DamagedBackup, IsSeenWhenABlockIsLostOrMoved) {
    const size_t third = Good().size() / 3;
    EXPECT_EQ(Refusal(Good().substr(third)), Exit::kDamaged);
    EXPECT_EQ(Refusal(Good().substr(0, third) + Good().substr(2 * third)), Exit::kDamaged);
    std::string zeros = Good();
    zeros.replace(third, third, third, '\0');
    EXPECT_EQ(Refusal(zeros), Exit::kDamaged);
}

TEST(DamagedBackup, NamesTheFileAndTheReason) {
    std::string words;
    Refusal(Packed(GoodMembers()), &words);
    EXPECT_EQ(
        words,
        "/b/x.tar.zst: it does not end with the seal of a backup: it is cut short or not a backup");
}

TEST(DamagedBackup, NeedsItsSeal) {
    EXPECT_EQ(Refusal(Packed(GoodMembers())), Exit::kDamaged);
    EXPECT_EQ(Refusal(Packed(GoodMembers()) + std::string(kSealBytes, '\0')), Exit::kDamaged);
}

TEST(DamagedBackup, IsAnEmptyFileOfAnotherKind) {
    EXPECT_EQ(Refusal(""), Exit::kBadPlace);
    for (const char *text : {"x", "PK\3\4", "dn: dc=example,dc=com\ndc: example\n\n"}) {
        EXPECT_EQ(Refusal(text), Exit::kDamaged) << text;
        EXPECT_EQ(Refusal(Sealed(text)), Exit::kDamaged) << text;
    }
}

// All of these carry a valid seal: made on purpose, or by another program.
struct Case {
    const char *name;
    void (*change)(std::vector<Member> &);
    const char *words;
};

void PrintTo(const Case &one, std::ostream *out) {
    *out << one.name;
}

class ForeignBackup : public ::testing::TestWithParam<Case> {};

TEST_P(ForeignBackup, IsRefused) {
    std::vector<Member> members = GoodMembers();
    GetParam().change(members);
    std::string words;
    EXPECT_EQ(Refusal(Sealed(Packed(members)), &words), Exit::kDamaged);
    EXPECT_NE(words.find(GetParam().words), std::string::npos) << words;
}

void Change(std::vector<Member> &members, void (*change)(Manifest &)) {
    Manifest manifest = GoodManifest();
    change(manifest);
    Named(members, "manifest.json").bytes = ToJson(manifest);
}

void Insert(std::vector<Member> &members, std::ptrdiff_t at, Member member) {
    members.insert(members.begin() + at, std::move(member));
}

INSTANTIATE_TEST_SUITE_P(
    Members, ForeignBackup,
    ::testing::Values(
        Case{"NothingInIt", [](auto &m) { m.clear(); }, "it is not a backup"},
        Case{"NoFormat", [](auto &m) { m.erase(m.begin()); }, "it is not a backup"},
        Case{"FormatOfAnotherProgram", [](auto &m) { m[0].bytes = "backup 1\n"; }, "it is not a backup"},
        Case{"FormatWithoutLineEnd", [](auto &m) { m[0].bytes.pop_back(); }, "it is not a backup"},
        Case{"FormatZero", [](auto &m) { m[0].bytes = "zafoldap-backup 0\n"; }, "no number"},
        Case{"FormatNegative", [](auto &m) { m[0].bytes = "zafoldap-backup -1\n"; }, "no number"},
        Case{"FormatWithText", [](auto &m) { m[0].bytes = "zafoldap-backup 1x\n"; }, "no number"},
        Case{"FormatBeyondCounting",
             [](auto &m) { m[0].bytes = "zafoldap-backup 99999999999999999999\n"; }, "no number"},
        Case{"FormatEndless", [](auto &m) { m[0].bytes = std::string(1 << 20, '1'); }, "more than"},
        Case{"NoManifest", [](auto &m) { m.pop_back(); }, "no manifest"},
        Case{"ManifestFirst", [](auto &m) { std::swap(m[0], m[3]); }, "it is not a backup"},
        Case{"EmptyManifest", [](auto &m) { m[3].bytes.clear(); }, "not a JSON"},
        Case{"EndlessManifest", [](auto &m) { m[3].bytes.append(1 << 20, ' '); }, "more than"},
        Case{"SomethingBehindTheManifest", [](auto &m) { m.push_back({"data/000002.ldif", "dn: o=x\n\n"}); },
             "follows the manifest"},
        Case{"UnknownMember", [](auto &m) { Insert(m, 1, {"README", "x"}); }, "does not belong"},
        Case{"UnknownConfiguration", [](auto &m) { Insert(m, 1, {"config/passwd", "x"}); },
             "does not belong"},
        Case{"WayOutOfTheFolder", [](auto &m) { Insert(m, 1, {"config/../../../etc/passwd", "x"}); },
             "does not belong"},
        Case{"WayUp", [](auto &m) { Insert(m, 1, {"../x", "x"}); }, "does not belong"},
        Case{"AbsolutePath", [](auto &m) { m[1].name = "/usr/zafo/etc/openldap/slapd.conf"; }, "does not belong"},
        Case{"WayOutOfTheEntries", [](auto &m) { m[2].name = "data/../000001.ldif"; }, "must be"},
        Case{"Link", [](auto &m) { m[1].is_link = true; }, "not a plain file"},
        Case{"LinkForEntries", [](auto &m) { m[2].is_link = true; }, "not a plain file"},
        Case{"ConfigurationTwice", [](auto &m) { Insert(m, 1, m[1]); }, "twice"},
        Case{"EndlessConfiguration", [](auto &m) { m[1].bytes.assign(kLargestConfig + 1, '#'); },
             "more than"},
        Case{"OtherConfiguration", [](auto &m) { m[1].bytes = "suffix dc=other\n"; },
             "differs from what was saved"},
        Case{"ConfigurationMissing", [](auto &m) { m.erase(m.begin() + 1); }, "its configuration files"},
        Case{"ConfigurationBehindEntries", [](auto &m) { std::swap(m[1], m[2]); }, "does not belong"},
        Case{"PieceMissing", [](auto &m) { m[2].name = "data/000002.ldif"; }, "must be"},
        Case{"PieceTwice", [](auto &m) { Insert(m, 2, m[2]); }, "must be"},
        Case{"PieceTooLarge", [](auto &m) { m[2].bytes.assign(kPieceBytes + 1, '\n'); }, "more than"},
        Case{"EntryChanged", [](auto &m) { m[2].bytes[5] = 'x'; }, "differ from those that were saved"},
        Case{"EntryMissing", [](auto &m) { m[2].bytes.resize(m[2].bytes.find("dn:: ")); }, "instead of"},
        Case{"EntryCutButCounted",
             [](auto &m) {
                 m[2].bytes.pop_back();
                 Change(m, [](Manifest &manifest) {
                     manifest.sha256 = Sha256Of(GoodMembers()[2].bytes.substr(0, manifest.ldif_bytes - 1));
                     --manifest.ldif_bytes;
                 });
             },
             "its entries are cut short"},
        Case{"CountTooHigh", [](auto &m) { Change(m, [](Manifest &x) { ++x.entries; }); }, "instead of 4"},
        Case{"CountTooLow", [](auto &m) { Change(m, [](Manifest &x) { --x.entries; }); }, "instead of 2"},
        Case{"BytesWrong", [](auto &m) { Change(m, [](Manifest &x) { ++x.ldif_bytes; }); }, "bytes of entries"},
        Case{"DigestWrong", [](auto &m) { Change(m, [](Manifest &x) { x.sha256[0] ^= 1; }); },
             "differ from those that were saved"}),
    [](const auto &one) { return one.param.name; });

TEST(NewerBackup, IsRefusedAsSuchByItsFormatMember) {
    std::vector<Member> members = GoodMembers();
    members[0].bytes = "zafoldap-backup 2\n";
    members[1].name = "what/later/versions/have";
    std::string words;
    EXPECT_EQ(Refusal(Sealed(Packed(members)), &words), Exit::kNewerFormat);
    EXPECT_EQ(words, "/b/x.tar.zst: it has format 2, but this program knows 1");
}

TEST(NewerBackup, IsRefusedAsSuchByItsManifest) {
    std::vector<Member> members = GoodMembers();
    members[3].bytes = R"({"format": 2})";
    EXPECT_EQ(Refusal(Sealed(Packed(members))), Exit::kNewerFormat);
}

// A flipped bit must not be reported as a newer format version.
TEST(NewerBackup, WithoutItsSealCountsAsDamaged) {
    std::vector<Member> members = GoodMembers();
    members[0].bytes = "zafoldap-backup 2\n";
    EXPECT_EQ(Refusal(Packed(members)), Exit::kDamaged);
    std::string bytes = Sealed(Packed(members));
    bytes.back() ^= 1;
    EXPECT_EQ(Refusal(bytes), Exit::kDamaged);
}

// Reading it would take 128 MiB.
TEST(ForeignCompression, WithALargeWindowIsRefused) {
    std::vector<Member> members = GoodMembers();
    members[1].bytes.assign(1000, '#');
    std::string words;
    EXPECT_EQ(Refusal(Sealed(Packed(members, 22)), &words), Exit::kDamaged);
    EXPECT_NE(words.find("not compressed by this program"), std::string::npos) << words;
}

class BackupPlaces : public FolderTest {};

TEST_F(BackupPlaces, ThatAreNotFilesAreRefused) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const std::string missing = Path("missing");
    EXPECT_THROW(OpenBackup(missing), JobError);
    for (const std::string &path : {folder_, Path("pipe"), std::string("/dev/zero")}) {
        const UniqueFd fd = OpenBackup(path);
        try {
            ReadArchive(fd.Get(), path);
            ADD_FAILURE() << path;
        } catch (const JobError &error) {
            EXPECT_EQ(error.code, Exit::kBadPlace) << path;
            EXPECT_EQ(error.what(), path + ": it is not a regular file");
        }
    }
}

TEST_F(BackupPlaces, ThatCannotBeReadAreNamed) {
    try {
        OpenBackup(Path("missing"));
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kBadPlace);
        EXPECT_EQ(error.what(), "cannot read " + Path("missing") + ": No such file or directory");
    }
}

}  // namespace
