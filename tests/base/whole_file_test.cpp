// SPDX-License-Identifier: Apache-2.0
#include "base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "base/pipe.h"
#include "base/write_all.h"
#include "tests/backup/folder_fixture.h"

namespace zafo::test {
namespace {

class WholeFile : public FolderTest {
  protected:
    ReadResult Result(const std::string &name) const {
        std::string text;
        return ReadWhole(Path(name), &text);
    }
};

TEST_F(WholeFile, IsReadToTheLastByte) {
    for (const size_t size : {0U, 1U, 16384U, 16385U, 100000U}) {
        const std::string text(size, 'x');
        Write("file", text);
        std::string read = "of before";
        EXPECT_EQ(ReadWhole(Path("file"), &read), ReadResult::kDone);
        EXPECT_EQ(read, text);
    }
}

TEST_F(WholeFile, ThatIsMissingIsDistinguishedFromAnUnreadableOne) {
    Write("file", "text");
    EXPECT_EQ(Result("none"), ReadResult::kAbsent);
    EXPECT_EQ(Result("file/none"), ReadResult::kNotReadable);
}

TEST_F(WholeFile, ThatMayBeMissingIsThenEmpty) {
    std::string text = "of before";
    EXPECT_TRUE(ReadIfPresent(Path("none"), &text));
    EXPECT_EQ(text, "");
    Write("file", "text");
    EXPECT_TRUE(ReadIfPresent(Path("file"), &text));
    EXPECT_EQ(text, "text");
    EXPECT_FALSE(ReadIfPresent(Path("file/none"), &text));
}

TEST_F(WholeFile, IsARegularFileAndNothingThatBlocks) {
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(Result("fifo"), ReadResult::kReadFailed);
    EXPECT_EQ(Result("."), ReadResult::kReadFailed);
}

TEST_F(WholeFile, HasAHeadOfAtMost512Bytes) {
    Write("file", "4711\n");
    EXPECT_EQ(ReadHead(Path("file")), "4711\n");
    Write("file", std::string(600, 'x'));
    EXPECT_EQ(ReadHead(Path("file")), std::string(512, 'x'));
    EXPECT_EQ(ReadHead(Path("none")), "");
}

// --- Writing all --------------------------------------------------------------------------

TEST(WriteAll, FailsWithTheSystemsReason) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    errno = 0;
    EXPECT_FALSE(WriteAll(full.Get(), "text"));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(WriteAll(full.Get(), "")) << "there is nothing to write";
}

void Leave() {
    throw std::runtime_error("interrupted");
}

TEST(WriteAll, LetsAnExceptionFromASignalPass) {
    const std::optional<Pipe> pipe = OpenPipe();
    ASSERT_TRUE(pipe);
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, &before);
    const itimerval often{.it_interval = {0, 1000}, .it_value = {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    // Nobody reads: it waits for room until it is interrupted.
    EXPECT_THROW(WriteAll(pipe->writer.Get(), std::string(4 << 20, 'x'), Leave),
                 std::runtime_error);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
}  // namespace zafo::test
