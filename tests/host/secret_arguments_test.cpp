// SPDX-License-Identifier: Apache-2.0
//
// What happens to the secrets in a directory tool's argument vector: the vector passed to the
// platform, the one that the tool receives, and the files in between.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/process.h"
#include "tests/host/owners.h"
#include "tests/host/system_calls.h"
#include "tests/rig/fake_tool.h"

namespace zafo::secret_arguments_test {

using rig::FakeCall;
using test::FailSystemCall;
using test::InFork;
using testing::ElementsAre;
using testing::Key;
using testing::SizeIs;

using Words = std::vector<std::string>;

constexpr char *kEnd = nullptr;
const std::string kSearch = "/usr/zafo/bin/ldapsearch";
const std::string kPasswd = "/usr/zafo/bin/ldappasswd";

std::vector<char *> Pointers(Words &words) {
    std::vector<char *> pointers;
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The wait status; -1 when the tool could not be started.
int Spawn(Words words) {
    FILE *stream = QLIBCPopenv(words[0].c_str(), "r", Pointers(words).data());
    return stream != nullptr ? QLIBCPclose(stream) : -1;
}

class SecretArgument : public testing::Test {
  protected:
    FakeCall Call(const Words &words) {
        tools_.Reset();
        EXPECT_EQ(Spawn(words), 0);
        return tools_.Calls().at(0);
    }

    rig::FakeTools tools_;
};

struct Row {
    const char *name;
    const char *tool;
    Words given;
    Words executed;
    Words secrets;
};

const Row kRows[] = {
    {"Search",
     "ldapsearch",
     {"-x", "-D", "cn=a", "-w", "geheim", "-s", "sub", "(uid=ann)", "cn"},
     {"-x", "-D", "cn=a", "-y", "/dev/fd/3", "-s", "sub", "(uid=ann)", "cn"},
     {"geheim"}},
    {"Anonymous", "ldapsearch", {"-x", "-b", "-w"}, {"-x", "-b", "-w"}, {}},
    {"Modify",
     "ldapmodify",
     {"-ax", "-ZH", "ldap://h", "-D", "", "-f", "/absent", "-w", ""},
     {"-ax", "-ZH", "ldap://h", "-D", "", "-f", "/absent", "-y", "/dev/fd/3"},
     {""}},
    {"BothPasswords",
     "ldappasswd",
     {"-x", "-w", "one", "-s", "two", "uid=ann"},
     {"-x", "-y", "/dev/fd/3", "-T", "/dev/fd/4", "uid=ann"},
     {"one", "two"}},
    {"OldPasswordToo",
     "ldappasswd",
     {"-s", "two", "-a", "one", "-w", "three"},
     {"-T", "/dev/fd/3", "-t", "/dev/fd/4", "-y", "/dev/fd/5"},
     {"two", "one", "three"}},
    {"Hash",
     "slappasswd",
     {"-h", "{CRYPT}", "-s", "geheim", "-c", "$1$%.2s"},
     {"-h", "{CRYPT}", "-T", "/dev/fd/3", "-c", "$1$%.2s"},
     {"geheim"}},
    {"InACluster", "ldapsearch", {"-xw", "geheim"}, {"-x", "-y", "/dev/fd/3"}, {"geheim"}},
    {"AtItsLetter", "ldapsearch", {"-wgeheim"}, {"-y", "/dev/fd/3"}, {"geheim"}},
    {"AtTheEndOfACluster",
     "ldapsearch",
     {"-xZwgeheim", "cn"},
     {"-xZ", "-y", "/dev/fd/3", "cn"},
     {"geheim"}},
    {"AfterTheFilter",
     "ldapsearch",
     {"(uid=a)", "-w", "geheim"},
     {"(uid=a)", "-y", "/dev/fd/3"},
     {"geheim"}},
    {"AfterTheOptions",
     "ldapsearch",
     {"-w", "a", "--", "-w", "b"},
     {"-y", "/dev/fd/3", "--", "-w", "b"},
     {"a"}},
    {"ThatLooksLikeAnOption",
     "ldapsearch",
     {"-w", "-w", "-w", "--", "-D", "-w"},
     {"-y", "/dev/fd/3", "-y", "/dev/fd/4", "-D", "-w"},
     {"-w", "--"}},
    {"ThatIsMissing", "ldapsearch", {"-x", "-w"}, {"-x", "-w"}, {}},
    {"OfAwkwardBytes",
     "ldapsearch",
     {"-w", " a\nb\t\377'\"$HOME\\ ", "", "-"},
     {"-y", "/dev/fd/3", "", "-"},
     {" a\nb\t\377'\"$HOME\\ "}},
    {"OfAToolWithoutAny", "slapcat", {"-s", "dc=x", "-w", "y"}, {"-s", "dc=x", "-w", "y"}, {}},
};

class SecretArgumentRow : public SecretArgument, public testing::WithParamInterface<Row> {};

TEST_P(SecretArgumentRow, IsReadFromAFileThatOnlyTheToolHas) {
    const Row &row = GetParam();
    const Words path{std::string("/usr/zafo/bin/") + row.tool};
    Words given = path, executed = path;
    given.insert(given.end(), row.given.begin(), row.given.end());
    executed.insert(executed.end(), row.executed.begin(), row.executed.end());
    const FakeCall call = Call(given);
    EXPECT_EQ(call.executed, executed);
    Words secrets;
    int number = 3;
    for (const auto &[descriptor, file] : call.secrets) {
        EXPECT_EQ(descriptor, number++);
        EXPECT_EQ(file.mode, 0600U);
        secrets.push_back(file.content);
    }
    EXPECT_EQ(secrets, row.secrets);
    EXPECT_THAT(call.descriptors, SizeIs(3 + row.secrets.size()));
}

INSTANTIATE_TEST_SUITE_P(Platform, SecretArgumentRow, testing::ValuesIn(kRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(SecretArgument, MayBeLargerThanAnArgument) {
    for (const size_t size : {size_t{64} << 10, size_t{300} << 10}) {
        const FakeCall call = Call({kSearch, "-w", std::string(size, 's')});
        EXPECT_THAT(call.executed, ElementsAre(kSearch, "-y", "/dev/fd/3"));
        EXPECT_TRUE(call.secrets.at(3).content == std::string(size, 's'));
    }
}

TEST_F(SecretArgument, LeavesEveryFunctionThatStartsATool) {
    const char *tool = kSearch.c_str();
    Words words{kSearch, "-w", "secret"};
    const std::vector<char *> argv = Pointers(words);
    FILE *stream = QLIBCPopen(tool, "r", "-w", "secret", kEnd);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(QLIBCPclose(stream), 0);
    stream = QLIBCPopenv(tool, "r", argv.data());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(QLIBCPclose(stream), 0);
    EXPECT_EQ(QLIBCExec(tool, "-w", "secret", nullptr, nullptr), 0);
    EXPECT_EQ(QLIBCExecl(tool, 0, "-w", "secret", kEnd), 0);
    EXPECT_EQ(QLIBCExecv(tool, argv.data(), 0), 0);
    EXPECT_EQ(QLIBCExecv(tool, argv.data(), 1), 0);
    ASSERT_THAT(tools_.Calls(), SizeIs(6));
    for (const FakeCall &call : tools_.Calls()) {
        EXPECT_THAT(call.executed, ElementsAre(kSearch, "-y", "/dev/fd/3"));
        EXPECT_THAT(call.argv, ElementsAre(kSearch, "-w", "secret"));
        EXPECT_THAT(call.descriptors, SizeIs(4));
    }
    EXPECT_THAT(words, ElementsAre(kSearch, "-w", "secret"));
}

TEST_F(SecretArgument, OfAnotherProgramIsIgnoredByThePlatform) {
    FILE *stream = QLIBCPopen("/bin/echo", "r", "-w", "plain", kEnd);
    ASSERT_NE(stream, nullptr);
    char line[64] = "";
    EXPECT_NE(fgets(line, sizeof line, stream), nullptr);
    QLIBCPclose(stream);
    EXPECT_STREQ(line, "-w plain\n");
}

// The kernel checks access again here: a name in "/proc" reopens the file.
TEST_F(SecretArgument, CannotBeChangedInItsFile) {
    tools_.On("ldapsearch").Hang();
    FILE *stream = QLIBCPopen(kSearch.c_str(), "r", "-w", "secret", kEnd);
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(tools_.WaitForCalls(1));
    const pid_t tool = tools_.Calls().at(0).pid;
    const std::string path = "/proc/" + std::to_string(tool) + "/fd/3";
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(write(file, "x", 1), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ftruncate(file, 0), -1);
    close(file);
    kill(tool, SIGKILL);
    QLIBCPclose(stream);
}

TEST_F(SecretArgument, LeavesNothingOpenInTheCaller) {
    const size_t before = test::OpenDescriptors();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Spawn({kPasswd, "-w", "one", "-s", "two"}), 0);
    EXPECT_EQ(QLIBCExec(kPasswd.c_str(), "-w", "one", "-s", "two"), 0);
    EXPECT_EQ(test::OpenDescriptors(), before);
    const std::string aside = kPasswd + ".aside";
    std::filesystem::rename(kPasswd, aside);
    EXPECT_EQ(Spawn({kPasswd, "-w", "one", "-s", "two"}), -1);
    EXPECT_EQ(QLIBCExec(kPasswd.c_str(), "-w", "one", "-s", "two"), -1);
    std::filesystem::rename(aside, kPasswd);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(test::OpenDescriptors(), before);
}

size_t HeldMemoryFiles() {
    size_t held = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        held += std::filesystem::read_symlink(entry, gone).string().starts_with("/memfd:") ? 1 : 0;
    }
    return held;
}

// The caller's process does not keep it open while it waits for a tool.
TEST_F(SecretArgument, IsClosedInTheCallerAsSoonAsTheToolRuns) {
    tools_.On("ldapsearch").WaitForFile("/tmp/secret-argument-go");
    std::thread waiting([] { QLIBCExec(kSearch.c_str(), "-w", "secret", nullptr, nullptr); });
    EXPECT_TRUE(tools_.WaitForCalls(1));
    // The tool may run before the thread that started it.
    for (int i = 0; i < 500 && HeldMemoryFiles() != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(HeldMemoryFiles(), 0U);
    std::ofstream("/tmp/secret-argument-go") << "";
    waiting.join();
    std::filesystem::remove("/tmp/secret-argument-go");
}

TEST_F(SecretArgument, OfOneThreadIsNeverInTheToolOfAnother) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 25; ++i) {
                const std::string word = std::to_string(thread * 100 + i);
                EXPECT_EQ(Spawn({kPasswd, "-w", "old" + word, "-s", "new" + word, word}), 0);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    ASSERT_THAT(tools_.Calls(), SizeIs(200));
    for (const FakeCall &call : tools_.Calls()) {
        const std::string &word = call.argv.back();
        EXPECT_THAT(call.argv, ElementsAre(kPasswd, "-w", "old" + word, "-s", "new" + word, word));
        EXPECT_THAT(call.descriptors, ElementsAre(Key(0), Key(1), Key(2), Key(3), Key(4)));
    }
}

TEST_F(SecretArgument, IsNeverUsedForAMissingStandardStream) {
    for (int closed = 1; closed < 8; ++closed) {
        EXPECT_EQ(InFork([closed] {
                      for (int fd = 0; fd < 3; ++fd) {
                          if ((closed >> fd & 1) != 0) close(fd);
                      }
                      return Spawn({kPasswd, "-w", "one", "-s", "two"});
                  }),
                  0);
        const FakeCall call = tools_.Calls().back();
        EXPECT_THAT(call.descriptors, ElementsAre(Key(0), Key(1), Key(2), Key(3), Key(4)));
        EXPECT_THAT(call.argv, ElementsAre(kPasswd, "-w", "one", "-s", "two"));
        EXPECT_TRUE(call.InputIsNull());
    }
}

TEST_F(SecretArgument, ThatCannotBeHiddenStartsNothing) {
    if (InFork([] { return FailSystemCall(SYS_memfd_create, ENOSYS) ? 0 : 1; }) != 0)
        GTEST_SKIP() << "the kernel cannot filter system calls";
    struct Failure {
        int error, code;
    };
    for (const Failure &failure : {Failure{ENOSYS, QLIB_ERR_OPEN_FAILED},
                                   {EMFILE, QLIB_ERR_OPEN_FAILED},
                                   {EPERM, QLIB_ERR_OPEN_FAILED},
                                   {ENOMEM, QLIB_ERR_OUT_OF_MEMORY}}) {
        EXPECT_EQ(InFork([failure] {
                      if (!FailSystemCall(SYS_memfd_create, failure.error)) return 1;
                      if (Spawn({kSearch, "-w", "secret"}) != -1) return 2;
                      if (QLIBCErrGet() != failure.code) return 3;
                      if (QLIBCStartError(nullptr, 0) != failure.error) return 4;
                      QLIBCErrSet(QLIB_ERR_NONE);
                      if (QLIBCExec(kSearch.c_str(), "-w", "secret", nullptr, nullptr) != -1)
                          return 5;
                      if (QLIBCErrGet() != failure.code) return 6;
                      // A call without a secret needs no file.
                      return Spawn({kSearch, "-x"}) == 0 ? 0 : 7;
                  }),
                  0)
            << strerror(failure.error);
    }
    for (const FakeCall &call : tools_.Calls())
        EXPECT_THAT(call.executed, ElementsAre(kSearch, "-x"));
}

// Opens files until only that many more can be opened.
void LeaveDescriptors(int free) {
    const rlimit low{64, 64};
    setrlimit(RLIMIT_NOFILE, &low);
    int last = 0;
    while (last >= 0)
        last = open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (int fd = 63; fd > 63 - free; --fd)
        close(fd);
}

TEST_F(SecretArgument, WithoutDescriptorsStartsTheToolOrNothing) {
    size_t started = 0;
    constexpr int kMost = 10;
    for (int free = 0; free <= kMost; ++free) {
        const int result = InFork([free] {
            LeaveDescriptors(free);
            const bool runs = Spawn({kPasswd, "-w", "one", "-s", "two"}) == 0;
            char path[64] = "";
            const int error = QLIBCStartError(path, sizeof path);
            int left = 0;
            while (open("/dev/null", O_RDONLY) >= 0)
                ++left;
            if (left != free) return 2;
            if (runs) return error == 0 ? 0 : 3;
            const bool said =
                QLIBCErrGet() == QLIB_ERR_OPEN_FAILED && error == EMFILE && path == kPasswd;
            return said ? 1 : 4;
        });
        EXPECT_THAT(result, testing::AnyOf(0, 1)) << free << " descriptors";
        started += result == 0 ? 1 : 0;
    }
    // A pipe and two secrets take four; ten are more than enough.
    EXPECT_GT(started, 0U);
    EXPECT_LE(started, size_t{kMost} + 1 - 4);
    EXPECT_THAT(tools_.Calls(), SizeIs(started));
    for (const FakeCall &call : tools_.Calls())
        EXPECT_THAT(call.argv, ElementsAre(kPasswd, "-w", "one", "-s", "two"));
}

}  // namespace zafo::secret_arguments_test
