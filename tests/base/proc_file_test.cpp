// SPDX-License-Identifier: Apache-2.0
#include "base/proc_file.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zafo::test {
namespace {

TEST(ProcessId, IsTheOneOfThatNumberAndThatStart) {
    const ProcessId own = ProcessId::Own();
    EXPECT_EQ(own.pid, getpid());
    EXPECT_GT(own.started, 0U);
    EXPECT_TRUE(own.Lives());
    EXPECT_FALSE((ProcessId{own.pid, own.started + 1}).Lives()) << "the number was given again";
    EXPECT_FALSE((ProcessId{0, 0}).Lives());
}

TEST(ProcessId, ThatHasEndedDoesNotLive) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const ProcessId own = ProcessId::Own();
        _exit(write(ends[1], &own, sizeof own) == sizeof own ? 0 : 1);
    }
    ProcessId ended;
    ASSERT_EQ(read(ends[0], &ended, sizeof ended), static_cast<ssize_t>(sizeof ended));
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(ended.Lives()) << "a zombie";
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(ended.Lives());
    close(ends[0]);
    close(ends[1]);
}

// The name is enclosed in parentheses in the status line and may contain anything.
TEST(ProcessId, IsFoundAfterAnyName) {
    const ProcessId own = ProcessId::Own();
    char before[16] = "";
    ASSERT_EQ(prctl(PR_GET_NAME, before), 0);
    for (const char *name : {") Z 1 2 3", "a b (c", "", ")"}) {
        ASSERT_EQ(prctl(PR_SET_NAME, name), 0);
        EXPECT_EQ(LivingProcess(own.pid), own) << name;
    }
    prctl(PR_SET_NAME, before);
}

TEST(LivingProcess, IsNothingForNumbersThatNoProcessHas) {
    for (const pid_t pid : {0, -1, 0x7FFFFFFF})
        EXPECT_EQ(LivingProcess(pid), std::nullopt) << pid;
}

TEST(StartTime, IsWhenTheProcessWasCreated) {
    const std::time_t before = std::time(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const std::optional<std::time_t> start = StartTimeOf(child);
    const std::time_t after = std::time(nullptr);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(start);
    EXPECT_GE(*start, before - 1);  // the kernel counts in ticks
    EXPECT_LE(*start, after);
    EXPECT_EQ(StartTimeOf(child), std::nullopt);
}

}  // namespace
}  // namespace zafo::test
