// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/fake_tool.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "tests/rig/running_tool.h"

namespace zafo::rig {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

constexpr const char *kSearch = "/usr/zafo/bin/ldapsearch";

TEST(FakeTool, WithoutAScriptWritesNothingAndSucceeds) {
    const FakeTools tools;
    const ToolOutcome outcome = RunTool({kSearch});
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST(FakeTool, RecordsArgumentsOfAnyBytes) {
    const FakeTools tools;
    const std::vector<std::string> argv = {kSearch, "", "two\nlines", "\377\1 12 ", "-b"};
    RunTool(argv);
    EXPECT_EQ(tools.Calls().at(0).tool, "ldapsearch");
    EXPECT_EQ(tools.Calls().at(0).argv, argv);
}

TEST(FakeTool, RecordsItsProcess) {
    const FakeTools tools;
    RunningTool running({kSearch}, {"LETTER=\303\244\nx"});
    running.Finish();
    const FakeCall call = tools.Calls().at(0);
    EXPECT_THAT(call.environment, ElementsAre("LETTER=\303\244\nx"));
    EXPECT_EQ(call.folder, "/");
    EXPECT_EQ(call.umask, 022U);
    EXPECT_EQ(call.uid, geteuid());
    EXPECT_EQ(call.gid, getegid());
    EXPECT_EQ(call.pid, running.Pid());
    EXPECT_EQ(call.parent, getpid());
    EXPECT_EQ(call.blocked_signals, 0U);
    EXPECT_TRUE(call.InputIsNull());
    EXPECT_FALSE(call.input);
    EXPECT_EQ(call.descriptors.size(), 3U);
    EXPECT_THAT(call.descriptors, Contains(Pair(1, testing::StartsWith("pipe:"))));
}

TEST(FakeTool, RecordsFilesThatArgumentsName) {
    const FakeTools tools;
    const std::string path = "/tmp/fake-tool-test-file";
    const std::string content("line\n\0rest", 10);
    std::ofstream(path) << content;
    chmod(path.c_str(), 0640);
    RunTool({kSearch, "-f", path, "-y", "/absent", "-T", "/dev/null", "-t", path});
    const FakeCall call = tools.Calls().at(0);
    ASSERT_EQ(call.files.size(), 1U);
    EXPECT_EQ(call.files.at(path).content, content);
    EXPECT_EQ(call.files.at(path).mode, 0640U);
    unlink(path.c_str());
}

// Only the platform's own files are translated back to what the platform was given.
TEST(FakeTool, DistinguishesOtherFilesFromThoseOfThePlatform) {
    const FakeTools tools;
    const std::string path = "/tmp/fake-tool-test-secret";
    std::ofstream(path) << "mine";
    RunTool({"/bin/bash", "-c", "exec " + std::string(kSearch) + " -y /dev/fd/5 5<" + path});
    const FakeCall call = tools.Calls().at(0);
    EXPECT_THAT(call.argv, ElementsAre(kSearch, "-y", "/dev/fd/5"));
    EXPECT_EQ(call.argv, call.executed);
    EXPECT_EQ(call.files.at("/dev/fd/5").content, "mine");
    EXPECT_TRUE(call.secrets.empty());
    unlink(path.c_str());
}

TEST(FakeTool, FailsTheTestThatShowsASecret) {
    FakeTools tools;
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{kSearch, "-x", "-w", "secret"},
          {"/usr/zafo/bin/ldapmodify", "-w", ""},
          {"/usr/zafo/bin/ldappasswd", "-s", "secret"},
          {"/usr/zafo/bin/slappasswd", "-s", "secret"}}) {
        RunTool(words);
        EXPECT_NONFATAL_FAILURE(tools.Reset(), "started with a secret among its arguments");
    }
    RunTool({kSearch, "-s", "base", "--", "-w"});
    RunTool({"/usr/zafo/bin/slapcat", "-s", "dc=x"});
}

TEST(FakeTool, PlaysOutputErrorAndExitCode) {
    FakeTools tools;
    tools.On("ldapsearch").Output(std::string_view("a\0b\n", 4)).Error("oops\n").Exit(32);
    const ToolOutcome outcome = RunTool({kSearch});
    EXPECT_EQ(outcome.output, std::string("a\0b\noops\n", 9));
    EXPECT_EQ(outcome.status, 32 << 8);
}

TEST(FakeTool, WritesTenMegabytes) {
    FakeTools tools;
    const std::string bytes(10 << 20, 'x');
    tools.On("ldapsearch").Output(bytes);
    EXPECT_TRUE(RunTool({kSearch}).output == bytes);
}

TEST(FakeTool, DiesBySignal) {
    FakeTools tools;
    tools.On("ldapsearch").Die(SIGSEGV);
    EXPECT_EQ(RunTool({kSearch}).status, SIGSEGV);
}

TEST(FakeTool, MovesAFileAwayBeforeItContinues) {
    FakeTools tools;
    std::ofstream("/tmp/moved") << "x";
    tools.On("ldapsearch").MoveAway("/tmp/moved").WaitForFile("/tmp/moved.away").Output("on");
    EXPECT_EQ(RunTool({kSearch}).output, "on");
    EXPECT_NE(access("/tmp/moved", F_OK), 0);
    unlink("/tmp/moved.away");
}

TEST(FakeTool, QueuesScriptsPerToolAndRepeatsTheLast) {
    FakeTools tools;
    tools.On("ldapsearch").Exit(1);
    tools.On("ldapsearch").Exit(2);
    tools.On("ldapmodify").Exit(3);
    EXPECT_EQ(RunTool({kSearch}).status, 1 << 8);
    EXPECT_EQ(RunTool({"/usr/zafo/bin/ldapmodify"}).status, 3 << 8);
    EXPECT_EQ(RunTool({kSearch}).status, 2 << 8);
    EXPECT_EQ(RunTool({kSearch}).status, 2 << 8);
    EXPECT_EQ(tools.Calls().size(), 4U);
}

TEST(FakeTool, FloodEndsWhenTheReaderIsGone) {
    FakeTools tools;
    tools.On("ldapsearch").IgnoreSignals().Flood("dn: o=x\n\n").Exit(7);
    RunningTool running({kSearch});
    char byte = 0;
    ASSERT_EQ(read(running.Reader(), &byte, 1), 1);
    running.CloseReader();
    EXPECT_EQ(running.Finish().status, 7 << 8);
}

TEST(FakeTool, WaitsForAFile) {
    FakeTools tools;
    const std::string path = "/tmp/fake-tool-test-go";
    tools.On("ldapsearch").Output("before\n").WaitForFile(path).Output("after\n");
    RunningTool running({kSearch});
    ASSERT_TRUE(tools.WaitForCalls(1));
    int status = 0;
    EXPECT_EQ(waitpid(running.Pid(), &status, WNOHANG), 0);
    std::ofstream(path) << "";
    EXPECT_EQ(running.Finish().output, "before\nafter\n");
    unlink(path.c_str());
}

TEST(FakeTool, KeepsConcurrentCallsApart) {
    FakeTools tools;
    tools.On("ldapsearch").Exit(5);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([] {
            for (int call = 0; call < 10; call++)
                EXPECT_EQ(RunTool({kSearch, "x"}).status, 5 << 8);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const std::vector<FakeCall> calls = tools.Calls();
    EXPECT_EQ(calls.size(), 80U);
    for (const FakeCall &call : calls)
        EXPECT_THAT(call.argv, ElementsAre(kSearch, "x"));
}

TEST(FakeTool, ResetForgetsScriptsAndCalls) {
    FakeTools tools;
    tools.On("ldapsearch").Exit(1);
    RunTool({kSearch});
    tools.Reset();
    EXPECT_EQ(RunTool({kSearch}).status, 0);
    EXPECT_EQ(tools.Calls().size(), 1U);
}

}  // namespace
}  // namespace zafo::rig
