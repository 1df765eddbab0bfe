// SPDX-License-Identifier: Apache-2.0
//
// Shared by all jobs: the lock, the progress file, children, and ending by a signal.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include <gmock/gmock.h>

#include "platform/file.h"
#include "tests/backup/folder_fixture.h"
#include "tools/backup/background_sha256.h"
#include "tools/backup/child.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"
#include "tools/backup/progress_file.h"

namespace zafo::job_test {
namespace {

using namespace zafo;
using namespace zafo::backup;
using testing::ContainsRegex;
using testing::HasSubstr;

// --- The lock -----------------------------------------------------------------

// A process that holds the lock; Release ends it with the given signal.
class Holder {
  public:
    Holder() {
        int ends[2];
        if (pipe(ends) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            const JobLock lock;
            if (write(ends[1], "x", 1) == 1) pause();
            _exit(0);
        }
        char byte = 0;
        ready_ = read(ends[0], &byte, 1) == 1;
        close(ends[0]);
        close(ends[1]);
    }
    ~Holder() { Release(SIGKILL); }

    bool Ready() const { return ready_; }

    void Release(int signal) {
        if (pid_ <= 0) return;
        kill(pid_, signal);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

  private:
    pid_t pid_ = -1;
    bool ready_ = false;
};

TEST(JobLock, IsForOneProcessAtATime) {
    const Holder holder;
    ASSERT_TRUE(holder.Ready());
    try {
        const JobLock lock;
        FAIL() << "two jobs at once";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kBusy);
        EXPECT_STREQ(error.what(), "another backup or restore is running");
    }
}

TEST(JobLock, IsFreeWhenItsHolderWasKilled) {
    Holder holder;
    ASSERT_TRUE(holder.Ready());
    EXPECT_TRUE(JobRuns());
    holder.Release(SIGKILL);
    EXPECT_FALSE(JobRuns());
    EXPECT_NO_THROW(JobLock());
}

TEST(JobLock, IsNotInheritedByChildren) {
    Pipe pipe = MakePipe();
    std::optional<Child> child;
    {
        const JobLock lock;
        child.emplace(ChildSpec{.argv = {"/bin/cat"}, .input = pipe.reader.Get()});
    }
    // The process's descriptors close shortly after it has been killed.
    EXPECT_NO_THROW(JobLock());
    pipe.writer.Reset(-1);
    EXPECT_EQ(child->Wait(), 0);
}

// A query takes the lock briefly, which must not turn a job away.
TEST(JobLock, IsAcquiredWhileOthersOnlyQueryIt) {
    const pid_t asker = fork();
    if (asker == 0) {
        for (;; usleep(1000))
            JobRuns();
    }
    for (int i = 0; i < 300; ++i, usleep(1000))
        EXPECT_NO_THROW(JobLock());
    kill(asker, SIGKILL);
    waitpid(asker, nullptr, 0);
}

TEST(JobLock, IsNotTakenThroughALink) {
    unlink(kJobLockFile);
    ASSERT_EQ(symlink("/tmp/elsewhere", kJobLockFile), 0);
    EXPECT_THROW(JobLock(), JobError);
    EXPECT_NE(access("/tmp/elsewhere", F_OK), 0);
    unlink(kJobLockFile);
}

// --- The progress file ----------------------------------------------------------

class Progress : public test::FolderTest {
  protected:
    std::string path_ = Path("progress");

    void SetUp() override {
        FolderTest::SetUp();
        path_ = Path("progress");
    }
};

TEST_F(Progress, HoldsEveryKey) {
    ProgressFile progress(path_, Operation::kBackup, "backup", 6);
    progress.Stage("checking the destination");
    EXPECT_EQ(Read("progress"),
              "operation=backup\ntask=backup\naction=checking the destination\ntotal=6\n"
              "stage=1\nstatus=0\npid=" +
                  std::to_string(getpid()) + "\n");
}

TEST_F(Progress, IsReadByThePlatform) {
    ProgressFile progress(path_, Operation::kRestore, "a = b", 8);
    progress.Stage("loading the entries");
    progress.Stage("counting \"them\"");
    progress.Finish(12);
    QLIBSZHASH *pairs = QLIBCSzHashAlloc(16);
    ASSERT_EQ(QLIBCFileGetPair(path_.c_str(), pairs), 7);
    EXPECT_STREQ(QLIBCSzHashGetValue(pairs, "operation"), "restore");
    EXPECT_STREQ(QLIBCSzHashGetValue(pairs, "task"), "a = b");
    EXPECT_STREQ(QLIBCSzHashGetValue(pairs, "action"), "counting \"them\"");
    EXPECT_STREQ(QLIBCSzHashGetValue(pairs, "stage"), "2");
    EXPECT_STREQ(QLIBCSzHashGetValue(pairs, "status"), "12");
    QLIBCSzHashFree(pairs);
}

TEST_F(Progress, LeavesTheFileAloneUntilTheJobBegins) {
    Write("progress", "of another");
    const ProgressFile progress(path_, Operation::kBackup, "backup", 6);
    EXPECT_EQ(Read("progress"), "of another");
}

TEST_F(Progress, IsReadableByEveryone) {
    const mode_t mask = umask(077);
    ProgressFile(path_, Operation::kBackup, "backup", 6).Stage("x");
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0644u);
}

// Another process reads the file as fast as it can while it is written.
TEST_F(Progress, IsAlwaysWhole) {
    ProgressFile progress(path_, Operation::kBackup, "backup", 100000);
    progress.Stage("x");
    const pid_t reader = fork();
    if (reader == 0) {
        for (int i = 0; i < 5000; ++i) {
            const std::string text = Read("progress");
            if (!text.starts_with("operation=backup\n") || !text.ends_with("\n") ||
                text.find("\npid=") == std::string::npos)
                _exit(1);
        }
        _exit(0);
    }
    int status = -1;
    while (waitpid(reader, &status, WNOHANG) == 0)
        progress.Stage(std::string(static_cast<size_t>(rand() % 3000), 'x'));
    EXPECT_EQ(status, 0);
}

TEST_F(Progress, LeavesNoOtherFiles) {
    ProgressFile progress(path_, Operation::kBackup, "backup", 6);
    Write("progress.new", "of a killed run");
    progress.Stage("x");
    EXPECT_THAT(Names(), testing::ElementsAre("progress"));
}

TEST_F(Progress, FailuresAreIgnored) {
    ProgressFile progress(Path("no/such/folder/progress"), Operation::kBackup, "backup", 6);
    EXPECT_NO_THROW(progress.Stage("x"));
    EXPECT_NO_THROW(progress.Finish(0));
    ProgressFile nobody_wants("", Operation::kBackup, "backup", 6);
    EXPECT_NO_THROW(nobody_wants.Stage("x"));
}

TEST_F(Progress, IsNotWrittenThroughALink) {
    ASSERT_EQ(symlink("elsewhere", Path("progress.new").c_str()), 0);
    ProgressFile(path_, Operation::kBackup, "backup", 6).Stage("x");
    EXPECT_FALSE(Names().contains("elsewhere"));
}

TEST_F(Progress, OfALongStageIsWrittenAboutOnceASecond) {
    ProgressFile progress(path_, Operation::kBackup, "backup", 6);
    progress.Stage("saving the entries");
    progress.Tick("1 entries");
    EXPECT_THAT(Read("progress"), HasSubstr("action=saving the entries\n"));
    sleep(1);
    usleep(50000);
    progress.Tick("2 entries");
    EXPECT_THAT(Read("progress"), HasSubstr("action=saving the entries (2 entries)\n"));
}

TEST_F(Progress, OfEntriesSaysHowFastTheyGoAndHowLongItTakes) {
    ProgressFile progress(path_, Operation::kRestore, "", 6);
    progress.Stage("loading the entries");
    usleep(1050000);
    progress.TickEntries(2000, 10000);
    const std::string text = Read("progress");
    int rate = 0, left = 0;
    const size_t at = text.find("action=");
    ASSERT_NE(at, std::string::npos) << text;
    ASSERT_EQ(
        std::sscanf(text.c_str() + at,
                    "action=loading the entries (2000 of 10000 entries, %d a second, %d s left)",
                    &rate, &left),
        2)
        << text;
    EXPECT_GT(rate, 0);
    EXPECT_LE(rate, 1905);  // 2000 in 1.05 s or more
    EXPECT_NEAR(left, 8000.0 / rate, 0.6 + 8000.0 / rate / rate);
    progress.Stage("saving the entries");
    usleep(1050000);
    progress.TickEntries(2000);
    EXPECT_THAT(Read("progress"),
                ContainsRegex("action=saving the entries \\(2000 entries, [0-9]+ a second\\)\n"));
}

// --- Children -------------------------------------------------------------------

std::string EndOf(const std::string &command) {
    return StatusInWords(Child({.argv = {"/bin/sh", "-c", command}}).Wait());
}

std::string OutputOf(const std::string &command) {
    Pipe pipe = MakePipe();
    Child child({.argv = {"/bin/sh", "-c", command}, .output = pipe.writer.Get()});
    pipe.writer.Reset(-1);
    std::string text;
    char block[1000];
    for (ssize_t n; (n = ReadSome(pipe.reader.Get(), block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(n));
    EXPECT_EQ(child.Wait(), 0);
    return text;
}

TEST(JobChild, EndsWithItsStatusInWords) {
    EXPECT_EQ(EndOf("exit 3"), "exit code 3");
    EXPECT_EQ(EndOf("kill -9 $$"), "signal 9");
}

TEST(JobChild, ReportsItsStandardError) {
    Child child({.argv = {"/bin/sh", "-c", "echo one >&2; echo two >&2; exit 1"}});
    child.Wait();
    EXPECT_EQ(child.Words(), "one\ntwo\n");
    EXPECT_EQ(OneLine(child.Words()), "one");
}

TEST(JobChild, HasItsOwnEnvironmentAndDescriptors) {
    setenv("SECRET", "x", 1);
    const UniqueFd open_file(
        open("/etc/passwd", O_RDONLY));  // not close-on-exec, unlike all of ours
    EXPECT_EQ(OutputOf("env | grep -c SECRET; true"), "0\n");
    EXPECT_EQ(OutputOf("readlink /proc/self/fd/0"), "/dev/null\n");
    unsetenv("SECRET");
}

TEST(JobChild, ThatCannotBeStartedIsAnError) {
    try {
        Child({.argv = {"/no/such/program"}});
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kSystem);
        EXPECT_STREQ(error.what(), "cannot start /no/such/program: No such file or directory");
    }
}

// The pipe for its output takes the last descriptor; none is left for watching its end.
TEST(JobChild, ThatCannotBeWatchedIsKilledAndAnError) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const auto free = static_cast<rlim_t>(UniqueFd(dup(STDIN_FILENO)).Get());
    const rlimit low{free + 1, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    std::string words = "nothing was thrown";
    try {
        Child({.argv = {"/bin/sleep", "1000"}});
    } catch (const JobError &error) {
        words = error.what();
    }
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(words, "cannot watch /bin/sleep: Too many open files");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the child is left";
    EXPECT_EQ(errno, ECHILD);
}

TEST(JobChild, EndsWithItsOwner) {
    pid_t pid = -1;
    {
        const Child child({.argv = {"/bin/sleep", "1000"}});
        pid = child.Pid();
    }
    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(JobChild, ThatIgnoresSigtermIsKilled) {
    Pipe pipe = MakePipe();
    Child child({.argv = {"/bin/sh", "-c", "trap '' TERM; echo; while :; do sleep 1; done"},
                 .output = pipe.writer.Get()});
    char byte = 0;
    ASSERT_EQ(ReadSome(pipe.reader.Get(), &byte, 1), 1);
    child.End();
    EXPECT_EQ(StatusInWords(child.Wait()), "signal 9");
}

TEST(JobChild, CanBeWaitedForWhileOtherWorkIsDone) {
    Child child({.argv = {"/bin/sleep", "2"}});
    int turns = 0;
    EXPECT_EQ(child.Wait([&] { ++turns; }), 0);
    EXPECT_GE(turns, 1);
}

// --- Digests --------------------------------------------------------------------

TEST(JobDigest, IsUnaffectedByConcurrentWork) {
    std::string text(5'000'000, '\0');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>(i * i >> 7U);
    for (const size_t size :
         {size_t{0}, size_t{1}, size_t{262143}, size_t{262144}, size_t{262145}, text.size()}) {
        const std::string_view part = std::string_view(text).substr(0, size);
        for (const size_t block : {size_t{4096}, size_t{262144}, size_t{300000}, text.size()}) {
            BackgroundSha256 sha;
            for (size_t at = 0; at < size; at += block)
                sha.Add(part.substr(at, block));
            EXPECT_EQ(Hex(sha.Take()), Sha256Of(part)) << size << " in blocks of " << block;
        }
    }
}

TEST(JobDigest, LeavesNoThreadBehindWhenAbandoned) {
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    const auto before = threads();
    {
        BackgroundSha256 sha;
        sha.Add(std::string(3'000'000, 'x'));
        EXPECT_EQ(threads(), before + 1);
    }
    // The kernel removes a thread shortly after it has been joined.
    for (int i = 0; i < 1000 && threads() != before; ++i)
        usleep(10000);
    EXPECT_EQ(threads(), before);
}

// --- Words ----------------------------------------------------------------------

TEST(JobWords, AreOneLine) {
    EXPECT_EQ(OneLine("\n \t\n  a\tb\r\nc"), "  a b ");
    EXPECT_EQ(OneLine(""), "");
    EXPECT_EQ(OneLine("a\x1B[31mb"), "a [31mb");
}

struct Case {
    int reason;
    Exit code;
};

TEST(JobWords, OfAFailedWriteHaveTheCodeOfItsReason) {
    const Case kCases[] = {{ENOSPC, Exit::kFullWhileWriting},
                           {EDQUOT, Exit::kQuotaExceeded},
                           {EFBIG, Exit::kFileTooLarge},
                           {ENOENT, Exit::kBadPlace},
                           {ESTALE, Exit::kBadPlace},
                           {EIO, Exit::kBadPlace},
                           {EROFS, Exit::kBadPlace},
                           {EACCES, Exit::kBadPlace},
                           {ENOTDIR, Exit::kBadPlace},
                           {ENOMEM, Exit::kSystem},
                           {EMFILE, Exit::kSystem}};
    for (const Case &one : kCases)
        EXPECT_EQ(WritingError("/b", one.reason).code, one.code) << one.reason;
    EXPECT_STREQ(WritingError("/b", ESTALE).what(), "cannot write /b: Stale file handle");
}

TEST(JobWords, ExistForEveryCode) {
    for (int code = 0; code <= 14; ++code) {
        EXPECT_FALSE(WordsFor(Operation::kBackup, code).empty()) << code;
        EXPECT_FALSE(WordsFor(Operation::kRestore, code).empty()) << code;
    }
    EXPECT_EQ(WordsFor(Operation::kBackup, -1), WordsFor(Operation::kBackup, 3));
    EXPECT_NE(WordsFor(Operation::kBackup, 8), WordsFor(Operation::kRestore, 8));
}

}  // namespace
}  // namespace zafo::job_test
