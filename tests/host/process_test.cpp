// SPDX-License-Identifier: Apache-2.0
#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "tests/host/owners.h"
#include "tests/host/system_calls.h"

namespace {

using zafo::test::FailSystemCall;
using zafo::test::Folder;
using zafo::test::InFork;
using zafo::test::OpenDescriptors;
using zafo::test::WriteFile;

constexpr char *kEnd = nullptr;

std::string ProbePath() {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zafo_child_probe")
        .string();
}

std::string ReadAll(FILE *stream) {
    std::string text;
    for (int c = fgetc(stream); c != EOF; c = fgetc(stream))
        text += static_cast<char>(c);
    return text;
}

std::string Shell(const char *script, int *status = nullptr) {
    FILE *stream = QLIBCPopen("/bin/sh", "r", "-c", script, kEnd);
    if (stream == nullptr) return "(not started)";
    std::string text = ReadAll(stream);
    const int ended = QLIBCPclose(stream);
    if (status != nullptr) *status = ended;
    return text;
}

TEST(Popen, ReadsTheChildsOutput) {
    EXPECT_EQ(Shell("echo one; echo two"), "one\ntwo\n");
}

TEST(Popen, PassesArgumentsAsTheyAre) {
    FILE *stream = QLIBCPopen(ProbePath().c_str(), "r", "", "a b", "$HOME", "*", "'\"\\", kEnd);
    ASSERT_NE(stream, nullptr);
    const std::string text = ReadAll(stream);
    QLIBCPclose(stream);
    EXPECT_TRUE(
        text.starts_with("arg " + ProbePath() + "\narg \narg a b\narg $HOME\narg *\narg '\"\\\n"))
        << text;
}

TEST(Popen, OfAVectorPassesItsFirstArgumentToo) {
    char name[] = "another name";
    char argument[] = "x";
    char *const argv[] = {name, argument, nullptr};
    FILE *stream = QLIBCPopenv(ProbePath().c_str(), "r", argv);
    ASSERT_NE(stream, nullptr);
    const std::string text = ReadAll(stream);
    QLIBCPclose(stream);
    EXPECT_TRUE(text.starts_with("arg another name\narg x\nfd 0")) << text;
}

TEST(Popen, GivesTheWaitStatus) {
    const std::pair<const char *, int> rows[] = {{"exit 0", 0},
                                                 {"exit 1", 1 << 8},
                                                 {"exit 255", 255 << 8},
                                                 {"kill -TERM $$", SIGTERM},
                                                 {"kill -KILL $$", SIGKILL}};
    for (const auto &[script, expected] : rows) {
        int status = -2;
        Shell(script, &status);
        EXPECT_EQ(status, expected) << script;
    }
}

TEST(Popen, CarriesLargeOutputWhole) {
    EXPECT_EQ(Shell("head -c 5000000 /dev/zero").size(), 5000000U);
}

TEST(Popen, ChildHasNothingOpenButItsThreeDescriptors) {
    const int leak = open("/etc/passwd", O_RDONLY);
    ASSERT_GE(fcntl(leak, F_DUPFD, 500), 500);
    FILE *other = QLIBCPopen("/bin/true", "r", kEnd);
    FILE *stream = QLIBCPopen(ProbePath().c_str(), "r", kEnd);
    ASSERT_NE(stream, nullptr);
    const std::string text = ReadAll(stream);
    QLIBCPclose(stream);
    QLIBCPclose(other);
    close(leak);
    close(500);
    size_t lines = 0;
    for (size_t at = text.find("\nfd "); at != std::string::npos; at = text.find("\nfd ", at + 1)) {
        ++lines;
    }
    EXPECT_EQ(lines, 3U) << text;
    EXPECT_NE(text.find("\nfd 0 /dev/null\nfd 1 pipe\nfd 2 "), std::string::npos) << text;
}

TEST(Popen, WorksInACallerWithClosedStandardDescriptors) {
    for (int closed = 1; closed < 8; ++closed) {
        SCOPED_TRACE(closed);
        EXPECT_EQ(InFork([=] {
                      for (int fd = 0; fd < 3; ++fd) {
                          if ((closed >> fd & 1) != 0) close(fd);
                      }
                      FILE *stream = QLIBCPopen(ProbePath().c_str(), "r", kEnd);
                      if (stream == nullptr) return 1;
                      const std::string text = ReadAll(stream);
                      if (QLIBCPclose(stream) != 0) return 2;
                      const bool plain =
                          text.find("\nfd 0 /dev/null\nfd 1 pipe\nfd 2 ") != std::string::npos;
                      return plain && text.find("\nfd 3") == std::string::npos ? 0 : 3;
                  }),
                  0);
    }
}

TEST(Popen, ChildStartsWithDefaultUnblockedSignals) {
    EXPECT_EQ(InFork([] {
                  sigset_t all;
                  sigfillset(&all);
                  sigprocmask(SIG_SETMASK, &all, nullptr);
                  signal(SIGPIPE, SIG_IGN);
                  signal(SIGINT, SIG_IGN);
                  FILE *stream = QLIBCPopen(ProbePath().c_str(), "r", kEnd);
                  const std::string text = ReadAll(stream);
                  QLIBCPclose(stream);
                  const bool none = text.find("blocked") == std::string::npos &&
                                    text.find("ignored") == std::string::npos;
                  return none ? 0 : 1;
              }),
              0);
}

TEST(Popen, AProgramThatCannotBeExecutedIsAFailureToStart) {
    const Folder folder;
    WriteFile(folder / "plain", "no program");
    for (const std::string &path : {folder / "absent", folder / "plain", folder / ""}) {
        SCOPED_TRACE(path);
        const size_t before = OpenDescriptors();
        QLIBCErrSet(0);
        EXPECT_EQ(QLIBCPopen(path.c_str(), "r", kEnd), nullptr);
        EXPECT_EQ(QLIBCErrGet(), 0x0900);
        EXPECT_EQ(OpenDescriptors(), before);
    }
}

TEST(Popen, FailsCleanlyWithoutDescriptors) {
    EXPECT_EQ(InFork([] {
                  while (open("/dev/null", O_RDONLY) >= 0) {
                  }
                  if (QLIBCPopen("/bin/true", "r", kEnd) != nullptr) return 1;
                  if (QLIBCStartError(nullptr, 0) != EMFILE) return 2;
                  return QLIBCErrGet() == 0x0900 ? 0 : 3;
              }),
              0);
}

TEST(StartError, IsThatOfTheThreadsLastChild) {
    char path[16] = "untouched";
    EXPECT_EQ(QLIBCPopen("/bin/absent-program", "r", kEnd), nullptr);
    EXPECT_EQ(QLIBCStartError(path, sizeof path), ENOENT);
    EXPECT_STREQ(path, "/bin/absent-pro");
    std::thread([] {
        EXPECT_EQ(QLIBCStartError(nullptr, 0), 0);
        EXPECT_EQ(QLIBCExec("/etc/passwd", nullptr, nullptr, nullptr, nullptr), -1);
        EXPECT_EQ(QLIBCStartError(nullptr, 0), EACCES);
    }).join();
    EXPECT_EQ(QLIBCStartError(nullptr, 0), ENOENT);
    // A program that exits with a failure has been started nonetheless.
    EXPECT_EQ(QLIBCExec("/bin/false", nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(QLIBCStartError(nullptr, 0), 0);
}

TEST(Popen, RefusesBadArguments) {
    char name[] = "true";
    char *const argv[] = {name, nullptr};
    char *const empty[] = {nullptr};
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCPopen(nullptr, "r", kEnd), nullptr);
    EXPECT_EQ(QLIBCPopen("/bin/true", nullptr, kEnd), nullptr);
    EXPECT_EQ(QLIBCPopen("/bin/true", "w", kEnd), nullptr);
    EXPECT_EQ(QLIBCPopen("/bin/true", "r+", kEnd), nullptr);
    EXPECT_EQ(QLIBCPopenv(nullptr, "r", argv), nullptr);
    EXPECT_EQ(QLIBCPopenv("/bin/true", "w", argv), nullptr);
    EXPECT_EQ(QLIBCPopenv("/bin/true", "r", nullptr), nullptr);
    EXPECT_EQ(QLIBCPopenv("/bin/true", "r", empty), nullptr);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(Pclose, RefusesAndLeavesOpenWhatPopenDidNotMake) {
    EXPECT_EQ(QLIBCPclose(nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    FILE *file = fopen("/etc/passwd", "r");
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCPclose(file), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_NE(fgetc(file), EOF);
    fclose(file);
}

TEST(Pclose, WaitsForAChildThatContinuesAfterItsReaderLeft) {
    const Folder folder;
    const std::string script = "exec >&-; sleep 0.2; : >" + (folder / "done");
    FILE *stream = QLIBCPopen("/bin/sh", "r", "-c", script.c_str(), kEnd);
    EXPECT_EQ(QLIBCPclose(stream), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "done"));
}

TEST(Pclose, WaitsOnThroughSignals) {
    EXPECT_EQ(InFork([] {
                  struct sigaction action {};
                  action.sa_handler = [](int) {};
                  sigaction(SIGALRM, &action, nullptr);
                  FILE *stream = QLIBCPopen("/bin/sh", "r", "-c", "sleep 0.3; exit 7", kEnd);
                  ualarm(20000, 20000);
                  const int status = QLIBCPclose(stream);
                  ualarm(0, 0);
                  return status == 7 << 8 ? 0 : 1;
              }),
              0);
}

TEST(Pclose, LeavesNoDescriptorsAndNoChildren) {
    const size_t before = OpenDescriptors();
    for (int i = 0; i < 50; ++i)
        Shell("echo x");
    EXPECT_EQ(OpenDescriptors(), before);
    // The private root's system log may be a child too; but no zombie is left.
    EXPECT_LE(waitpid(-1, nullptr, WNOHANG), 0);
}

TEST(Popen, ServesManyThreadsConcurrently) {
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                const std::string word = std::to_string(t * 100 + i);
                int status = -1;
                if (Shell(("echo " + word + "; exit " + std::to_string(t)).c_str(), &status) ==
                        word + "\n" &&
                    status == t << 8) {
                    ++right;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right, 160);
}

int Script(const char *text) {
    return QLIBCExec("/bin/sh", "-c", text, nullptr, nullptr);
}

TEST(Exec, GivesTheExitCodeOrTheSignal) {
    EXPECT_EQ(Script("exit 0"), 0);
    EXPECT_EQ(Script("exit 1"), 1);
    EXPECT_EQ(Script("exit 255"), 255);
    EXPECT_EQ(Script("kill -TERM $$"), 128 + SIGTERM);
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCExec("/bin/absent", nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(QLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(Exec, ANullEndsTheArgumentsEarly) {
    EXPECT_EQ(QLIBCExec("/bin/sh", "-c", "exit $#", nullptr, "ignored"), 0);
}

// The matches of a pattern in the folder, as a child receives them.
std::string ArgumentsFor(const std::string &pattern, const std::string &output) {
    const std::string script = "printf '%s|' \"$@\" >" + output;
    EXPECT_EQ(QLIBCExec("/bin/sh", "-c", script.c_str(), "sh", pattern.c_str()), 0);
    return zafo::test::ReadFile(output);
}

TEST(Exec, ReplacesAFoldersStarByItsEntries) {
    const Folder folder;
    std::filesystem::create_directories(folder / "d/sub");
    for (const char *name : {"d/b", "d/.hidden", "d/a b"})
        WriteFile(folder / name, "");
    const std::string d = folder / "d";
    EXPECT_EQ(ArgumentsFor(d + "/*", folder / "out"),
              d + "/.hidden|" + d + "/a b|" + d + "/b|" + d + "/sub|");
    EXPECT_EQ(ArgumentsFor(d + "//*", folder / "out"),
              d + "//.hidden|" + d + "//a b|" + d + "//b|" + d + "//sub|");
}

TEST(Exec, LeavesOtherArgumentsAsTheyAre) {
    const Folder folder;
    std::filesystem::create_directories(folder / "empty");
    for (const std::string &argument :
         {folder / "empty/*", folder / "absent/*", std::string("tmp/*"), std::string("*"),
          folder / "*x", folder / "emp*"}) {
        EXPECT_EQ(ArgumentsFor(argument, folder / "out"), argument + "|");
    }
}

TEST(Exec, EmptiesAFolderWithRm) {
    const Folder folder;
    std::filesystem::create_directories(folder / "data/sub");
    WriteFile(folder / "data/.dot", "");
    WriteFile(folder / "data/sub/file", "");
    EXPECT_EQ(QLIBCExec("/bin/rm", "-rf", (folder / "data//*").c_str(), nullptr, nullptr), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "data"));
    EXPECT_EQ(QLIBCExec("/bin/rm", "-rf", (folder / "data//*").c_str(), nullptr, nullptr), 0);
}

TEST(Exec, FolderThatCannotBeReadIsNotTakenForAnEmptyOne) {
    const Folder folder;
    WriteFile(folder / "file", "");
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const int result = QLIBCExec("/bin/true", (folder / "*").c_str(), nullptr, nullptr, nullptr);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
}

TEST(Exec, FolderWhoseReadingFailsIsNotTakenForAnEmptyOne) {
    if (InFork([] { return FailSystemCall(SYS_getdents64, EIO) ? 0 : 1; }) != 0)
        GTEST_SKIP() << "the kernel has no filter for system calls";
    const Folder folder;
    WriteFile(folder / "file", "");
    const std::string all = folder / "*";
    EXPECT_EQ(InFork([&] {
                  FailSystemCall(SYS_getdents64, EIO);
                  if (QLIBCExec("/bin/true", all.c_str(), nullptr, nullptr, nullptr) != -1)
                      return 1;
                  return QLIBCErrGet() == QLIB_ERR_OPEN_FAILED ? 0 : 2;
              }),
              0);
}

TEST(Execl, GivesTheWaitStatus) {
    EXPECT_EQ(QLIBCExecl("/bin/sh", 0, "-c", "exit 11", kEnd), 11 << 8);
    EXPECT_EQ(QLIBCExecl("/bin/sh", 0xFF, "-c", "exit 0", kEnd), 0);
    EXPECT_EQ(QLIBCExecl("/bin/sh", 0, "-c", "kill -INT $$", kEnd), SIGINT);
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCExecl("/bin/absent", 0, kEnd), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(QLIBCExecl(nullptr, 0, kEnd), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

// A child's output with `nFlags` when the caller's standard output is a file.
std::string OutputOfExecv(int nFlags) {
    const Folder folder;
    EXPECT_EQ(InFork([&] {
                  const int fd =
                      open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
                  dup2(fd, STDOUT_FILENO);
                  char sh[] = "sh", option[] = "-c", script[] = "echo said; exit 3";
                  char *const argv[] = {sh, option, script, nullptr};
                  return QLIBCExecv("/bin/sh", argv, nFlags);
              }),
              3);
    return zafo::test::ReadFile(folder / "out");
}

TEST(Execv, SendsOutputToTheCallersOrNowhere) {
    EXPECT_EQ(OutputOfExecv(0), "said\n");
    EXPECT_EQ(OutputOfExecv(1), "");
    EXPECT_EQ(QLIBCExecv("/bin/true", nullptr, 1), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(ProcAlive, KnowsLivingEndedAndImpossibleProcesses) {
    EXPECT_EQ(QLIBCProcAlive(getpid()), 1);
    EXPECT_EQ(QLIBCProcAlive(1), 1);
    for (const pid_t pid : {0, -1, INT_MAX, INT_MIN})
        EXPECT_EQ(QLIBCProcAlive(pid), 0) << pid;
}

TEST(ProcAlive, DoesNotCountAZombie) {
    const pid_t pid = fork();
    if (pid == 0) _exit(0);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    EXPECT_EQ(kill(pid, 0), 0);
    EXPECT_EQ(QLIBCProcAlive(pid), 0);
    waitpid(pid, nullptr, 0);
    EXPECT_EQ(QLIBCProcAlive(pid), 0);
}

TEST(ReadPidFile, GivesTheIdOfALivingProcessOnly) {
    const Folder folder;
    const std::string own = std::to_string(getpid());
    const std::pair<std::string, pid_t> rows[] = {{own, getpid()},
                                                  {own + "\n", getpid()},
                                                  {" " + own + " \n", getpid()},
                                                  {own + "x", 0},
                                                  {"", 0},
                                                  {"\n", 0},
                                                  {"0", 0},
                                                  {"-1", 0},
                                                  {"-" + own, 0},
                                                  {"pid", 0},
                                                  {"2147483647", 0},
                                                  {"99999999999999999999", 0}};
    for (const auto &[text, expected] : rows) {
        WriteFile(folder / "pid", text);
        EXPECT_EQ(QLIBCReadPidFile((folder / "pid").c_str()), expected) << text;
    }
    EXPECT_EQ(QLIBCReadPidFile((folder / "absent").c_str()), 0);
    EXPECT_EQ(QLIBCReadPidFile(folder.Path().c_str()), 0);
    EXPECT_EQ(QLIBCReadPidFile(nullptr), 0);
}

}  // namespace
