// SPDX-License-Identifier: Apache-2.0
#include "base/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>

#include "base/pidfd.h"
#include "base/pipe.h"

namespace zafo::test {
namespace {

class SpawnedChild : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(pipe_); }

    // The output of `command`, run with the spawner's settings.
    std::string Output(const std::string &command) {
        spawner_.Pass(pipe_->writer.Get(), STDOUT_FILENO);
        spawner_.CloseFrom(STDERR_FILENO + 1);
        const pid_t pid = Start({"/bin/sh", "-c", command});
        pipe_->writer.Reset(-1);
        std::string text;
        char part[256];
        for (ssize_t n = 0; (n = read(pipe_->reader.Get(), part, sizeof part)) > 0;)
            text.append(part, static_cast<size_t>(n));
        EXPECT_EQ(AwaitChild(pid), 0);
        return text;
    }

    pid_t Start(const std::vector<std::string> &words) {
        pid_t pid = -1;
        EXPECT_EQ(
            spawner_.Start(words[0].c_str(), ArgumentVector(words).data(), environment_, &pid), 0);
        return pid;
    }

    Spawner spawner_;
    std::optional<Pipe> pipe_ = OpenPipe();
    char *environment_[1] = {nullptr};
};

TEST_F(SpawnedChild, HasTheDescriptorsThatItWasGiven) {
    const UniqueFd folder(open("/usr", O_RDONLY | O_CLOEXEC));
    spawner_.PassOrNull(folder.Get(), STDIN_FILENO);
    EXPECT_EQ(Output("readlink /proc/self/fd/0"), "/usr\n");
}

TEST_F(SpawnedChild, HasDevNullInPlaceOfAMissingDescriptor) {
    spawner_.PassOrNull(-1, STDIN_FILENO);
    spawner_.PassNull(STDERR_FILENO);
    EXPECT_EQ(Output("readlink /proc/self/fd/0 /proc/self/fd/2; cat; echo x >&2 && echo written"),
              "/dev/null\n/dev/null\nwritten\n");
}

TEST_F(SpawnedChild, InheritsNoDescriptorOfTheCaller) {
    const UniqueFd inherited(open("/usr", O_RDONLY));  // not close-on-exec
    EXPECT_EQ(Output("for fd in /proc/$$/fd/*; do [ $(readlink $fd) != /usr ] || echo $fd; done"),
              "");
}

TEST_F(SpawnedChild, StartsInTheRootWhenItIsToEnterIt) {
    spawner_.EnterRoot();
    EXPECT_EQ(Output("pwd"), "/\n");
}

TEST_F(SpawnedChild, IsOfTheCallersGroupUnlessItLeadsItsOwn) {
    for (const bool leads : {false, true}) {
        if (leads) spawner_.LeadGroup();
        const pid_t pid = Start({"/bin/sleep", "1000"});
        EXPECT_EQ(getpgid(pid), leads ? pid : getpgrp());
        kill(pid, SIGKILL);
        EXPECT_EQ(ExitCodeOf(AwaitChild(pid).value_or(0)), 128 + SIGKILL);
    }
}

TEST_F(SpawnedChild, IsNotStoppedByASignalThatTheCallerBlocksOrIgnores) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    auto *const handler = signal(SIGTERM, SIG_IGN);
    const pid_t pid = Start({"/bin/sleep", "1000"});
    sigprocmask(SIG_SETMASK, &before, nullptr);
    signal(SIGTERM, handler);
    kill(pid, SIGTERM);
    EXPECT_EQ(ExitCodeOf(AwaitChild(pid).value_or(0)), 128 + SIGTERM);
}

TEST_F(SpawnedChild, ThatCannotBeStartedHasAReason) {
    pid_t pid = -1;
    char *argv[] = {nullptr};
    EXPECT_EQ(spawner_.Start("/no/such/program", argv, environment_, &pid), ENOENT);
    EXPECT_EQ(spawner_.Start("/usr", argv, environment_, &pid), EACCES);
}

TEST_F(SpawnedChild, IsSeenToEndByItsDescriptor) {
    const pid_t pid = Start({"/bin/sleep", "1000"});
    const UniqueFd end = OpenPidfd(pid);
    ASSERT_TRUE(end.IsOpen());
    pollfd event{end.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&event, 1, 0), 0);
    kill(pid, SIGKILL);
    EXPECT_EQ(poll(&event, 1, -1), 1);
    EXPECT_TRUE(AwaitChild(pid));
}

TEST(AwaitedChild, ThatIsNotOursHasNoStatus) {
    EXPECT_EQ(AwaitChild(getpid()), std::nullopt);
    EXPECT_FALSE(OpenPidfd(0x7FFFFFFF).IsOpen());
}

TEST(AwaitedChild, HasAnExitCodeAsInAShell) {
    EXPECT_EQ(ExitCodeOf(W_EXITCODE(0, 0)), 0);
    EXPECT_EQ(ExitCodeOf(W_EXITCODE(255, 0)), 255);
    EXPECT_EQ(ExitCodeOf(W_EXITCODE(0, SIGSEGV)), 139);
}

TEST(OpenedPipe, IsCloseOnExecAndAboveTheStandardDescriptors) {
    const int kept = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const std::optional<Pipe> pipe = OpenPipe();
    dup2(kept, STDIN_FILENO);
    close(kept);
    ASSERT_TRUE(pipe);
    for (const UniqueFd *end : {&pipe->reader, &pipe->writer}) {
        EXPECT_GT(end->Get(), STDERR_FILENO);
        EXPECT_EQ(fcntl(end->Get(), F_GETFD), FD_CLOEXEC);
    }
}

TEST(OpenedPipe, IsNothingWithoutDescriptors) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::optional<Pipe> pipe = OpenPipe();
    const int reason = errno;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(pipe);
    EXPECT_EQ(reason, EMFILE);
}

}  // namespace
}  // namespace zafo::test
