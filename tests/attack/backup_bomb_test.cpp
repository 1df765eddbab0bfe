// SPDX-License-Identifier: Apache-2.0
//
// Small files that claim to be large. Whatever a file claims, a program that reads it stays below
// 64 MiB.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include <archive.h>
#include <archive_entry.h>

#include "tests/attack/crafted_backup.h"

namespace zafo::test::bomb {
namespace {

namespace fs = std::filesystem;

using namespace zafo::rig;
using testing::HasSubstr;

constexpr long kMostKibibytes = 64L << 10;
constexpr const char *kBomb = "/root/bomb.tar.zst";
constexpr std::size_t kBlock = 512;

// A zstd stream written as it is generated, so that the test itself stays small.
class Stream {
  public:
    explicit Stream(const char *path) : writer_(archive_write_new()) {
        archive_write_set_format_raw(writer_);
        archive_write_add_filter_zstd(writer_);
        archive_write_set_bytes_in_last_block(writer_, 1);
        if (archive_write_open_filename(writer_, path) != ARCHIVE_OK)
            throw std::runtime_error(path);
        archive_entry *entry = archive_entry_new();
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_write_header(writer_, entry);
        archive_entry_free(entry);
    }
    ~Stream() { archive_write_free(writer_); }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    void Add(std::string_view bytes) {
        if (archive_write_data(writer_, bytes.data(), bytes.size()) !=
            static_cast<la_ssize_t>(bytes.size()))
            throw std::runtime_error("the bomb cannot be written");
    }

    void AddMember(const std::string &name, std::string_view bytes) {
        Add(Header(name, bytes.size()));
        Add(bytes);
        Add(std::string((kBlock - bytes.size() % kBlock) % kBlock, '\0'));
    }

    static std::string Header(const std::string &name, std::size_t size, char kind = '0') {
        std::string header(kBlock, '\0');
        const auto put = [&](std::size_t at, const std::string &text) {
            header.replace(at, text.size(), text);
        };
        const auto octal = [](std::size_t number, int digits) {
            char text[16];
            snprintf(text, sizeof text, "%0*zo", digits, number);
            return std::string(text);
        };
        put(0, name);
        put(100, "0000600");
        put(124, octal(size, 11));
        put(136, "00000000000");
        put(148, "        ");
        header[156] = kind;
        put(257, std::string("ustar\0"
                             "00",
                             8));
        std::size_t sum = 0;
        for (const char c : header)
            sum += static_cast<unsigned char>(c);
        put(148, octal(sum, 6) + std::string(1, '\0') + " ");
        return header;
    }

  private:
    archive *writer_;
};

std::string PieceName(int number) {
    char name[32];
    snprintf(name, sizeof name, "data/%06d.ldif", number);
    return name;
}

void Begin(Stream &stream) {
    stream.AddMember("format", "zafoldap-backup 1\n");
}

void Seal() {
    WriteFile(kBomb, Sealed(ReadFile(kBomb)));
}

// --- The bombs ----------------------------------------------------------------------------

constexpr int kPieces = 32;  // of 4 MiB: twice the limit

void OneLine() {
    Stream stream(kBomb);
    Begin(stream);
    std::string piece(backup::kPieceBytes, 'a');
    piece.replace(0, 30, "dn: dc=example,dc=com\ndc: aaaa");
    for (int i = 1; i <= kPieces; ++i) {
        stream.AddMember(PieceName(i), piece);
        piece.assign(backup::kPieceBytes, 'a');
    }
}

// Folded as slapcat does.
void OneValue() {
    Stream stream(kBomb);
    Begin(stream);
    stream.AddMember(PieceName(1), "dn: dc=example,dc=com\ndescription: a\n");
    std::string piece;
    while (piece.size() + 78 <= backup::kPieceBytes)
        piece += ' ' + std::string(76, 'a') + '\n';
    for (int i = 2; i <= kPieces; ++i)
        stream.AddMember(PieceName(i), piece);
}

void OneEntry() {
    Stream stream(kBomb);
    Begin(stream);
    std::string piece;
    while (piece.size() + 78 <= backup::kPieceBytes)
        piece += "member: " + std::string(69, 'a') + '\n';
    for (int i = 1; i <= kPieces + 1; ++i) {
        if (i == 1) piece.replace(0, 30, "dn: dc=example,dc=com\nmember: ");
        stream.AddMember(PieceName(i), piece);
        if (i == 1) piece.replace(0, 22, "member: aaaaaaaaaaaaaa");
    }
}

void EmptyMembers() {
    Stream stream(kBomb);
    Begin(stream);
    for (int i = 1; i <= 50000; ++i)
        stream.AddMember(PieceName(i), "");
}

void TinyMembers() {
    Stream stream(kBomb);
    Begin(stream);
    for (int i = 1; i <= 100000; ++i)
        stream.AddMember(PieceName(i), "\n");
}

void LongName() {
    Stream stream(kBomb);
    Begin(stream);
    stream.Add(Stream::Header("././@LongLink", 900U << 20, 'L'));
    for (int i = 0; i < kPieces; ++i)
        stream.Add(std::string(backup::kPieceBytes, 'a'));
}

void ExtendedHeader() {
    Stream stream(kBomb);
    Begin(stream);
    stream.Add(Stream::Header("PaxHeader", 900U << 20, 'x'));
    for (int i = 0; i < kPieces; ++i)
        stream.Add(std::string(backup::kPieceBytes, 'a'));
}

// An endless sparse map (GNU tar), which a reader would keep in memory.
void SparseMap() {
    Stream stream(kBomb);
    Begin(stream);
    std::string header = Stream::Header("data/000001.ldif", 512, 'S');
    header.replace(257, 8, "ustar  ");
    header[482] = 1;
    std::size_t sum = 0;
    header.replace(148, 8, "        ");
    for (const char c : header)
        sum += static_cast<unsigned char>(c);
    char text[8];
    snprintf(text, sizeof text, "%06zo", sum);
    header.replace(148, 8, std::string(text) + std::string(1, '\0') + " ");
    stream.Add(header);
    std::string part;
    for (int i = 0; i < 21; ++i)
        part += "00000001000" + std::string(1, '\0') + "00000001000" + std::string(1, '\0');
    part += '\1';
    part.resize(kBlock, '\0');
    for (int i = 0; i < 200000; ++i)
        stream.Add(part);
}

// A valid frame followed by another one with a window of 128 MiB.
void SecondFrame() {
    {
        Stream stream(kBomb);
        Begin(stream);
        stream.Add(Stream::Header(PieceName(1), backup::kPieceBytes));
    }
    const ProgramRun run = RunProgram(
        {"bash", "-c",
         "head -c 200M /dev/zero | zstd -q -1 --long=27 --no-check >>" + std::string(kBomb)});
    if (run.exit_code != 0) throw std::runtime_error(run.err);
}

// Compressed data is compressed again, each time with a window of 128 MiB.
void Nested() {
    const ProgramRun run = RunProgram(
        {"bash", "-c",
         "head -c 80M /dev/urandom | zstd -q -1 --long=27 | zstd -q -3 >" + std::string(kBomb)});
    if (run.exit_code != 0) throw std::runtime_error(run.err);
}

void Padding() {
    Stream stream(kBomb);
    for (const Member &member : GoodMembers())
        stream.AddMember(member.name, member.bytes);
    for (int i = 0; i < kPieces; ++i)
        stream.Add(std::string(backup::kPieceBytes, '\0'));
}

struct Row {
    const char *name;
    void (*make)();
    const char *words;
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.name;
}

const Row kRows[] = {
    {"OneLine", OneLine, "has a value of more than 16777216 bytes"},
    {"OneValue", OneValue, "has a value of more than 16777216 bytes"},
    {"OneEntry", OneEntry, "ends an entry of 134217728 bytes"},
    {"EmptyMembers", EmptyMembers, "is empty"},
    {"TinyMembers", TinyMembers, "it has no end"},
    {"LongName", LongName, "is not a plain file"},
    {"ExtendedHeader", ExtendedHeader, "is not a plain file"},
    {"SparseMap", SparseMap, "it is not a tar archive as this program writes it"},
    {"SecondFrame", SecondFrame, "it was not compressed by this program"},
    {"Nested", Nested, "it is not a tar archive as this program writes it"},
    {"Padding", Padding, "there is data after its end"},
};

// --- Their readers ------------------------------------------------------------------------

struct Measured {
    int exit_code = -1;
    long kibibytes = 0;  // peak memory
    std::string words = {};
};

// Its output goes into a file. Forks, so that this process's own peak is not measured.
Measured Measure(const std::vector<std::string> &argv) {
    const std::string words = "/tmp/words";
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = open(words.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, STDOUT_FILENO);
        dup2(fd, STDERR_FILENO);
        std::vector<char *> pointers;
        for (const std::string &argument : argv)
            pointers.push_back(const_cast<char *>(argument.c_str()));
        pointers.push_back(nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    return {.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            .kibibytes = usage.ru_maxrss,
            .words = ReadFile(words)};
}

class Bomb : public BackupAttack, public testing::WithParamInterface<Row> {};

TEST_P(Bomb, IsRefusedInLittleMemory) {
    GetParam().make();
    Seal();
    for (const std::vector<std::string> &argv : std::vector<std::vector<std::string>>{
             {"/usr/zafo/bin/zafoldapserver", "backup", "verify", kBomb},
             {"/usr/zafo/bin/zafoldapserver", "restore", kBomb, "--yes"},
             {kBackupTool, "-r", kBomb}}) {
        const Measured run = Measure(argv);
        EXPECT_EQ(run.exit_code, argv[0] == kBackupTool ? 8 : 1) << run.words;
        EXPECT_THAT(run.words, HasSubstr(GetParam().words));
        EXPECT_LT(run.kibibytes, kMostKibibytes) << argv[0] << ' ' << argv[1];
    }
    fs::copy_file(kBomb, std::string(kFolder) + "/zafoldap-000001-20270101T000000Z.tar.zst");
    const Measured list = Measure({"/usr/zafo/bin/zafoldapserver", "backup", "list"});
    EXPECT_EQ(list.exit_code, 0) << list.words;
    EXPECT_LT(list.kibibytes, kMostKibibytes);
    fs::remove(kBomb);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Bomb, testing::ValuesIn(kRows),
                         [](const auto &row) { return row.param.name; });

// --- Shortages ----------------------------------------------------------------------------

// However few descriptors there are, a good file is not reported as bad, and no program waits
// forever.
TEST_F(BackupAttack, AShortageOfDescriptorsIsNotReportedAsABadBackup) {
    const std::string file = Make();
    // It would be started with the same limit.
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    bool restored = false;
    for (int most = 4; most < 20; ++most) {
        const ProgramRun run =
            RunProgram({"timeout", "60", "prlimit", "--nofile=" + std::to_string(most), kBackupTool,
                        "-r", file});
        EXPECT_NE(run.exit_code, 124) << most << " descriptors: it waits";
        EXPECT_NE(run.exit_code, 2) << most << ": " << run.err;
        EXPECT_NE(run.exit_code, 8) << most << ": " << run.err;
        restored = restored || run.exit_code == 0;
    }
    EXPECT_TRUE(restored);
    EXPECT_EQ(ServerLine("start").exit_code, 0);
}

}  // namespace
}  // namespace zafo::test::bomb
