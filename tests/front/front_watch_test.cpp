// SPDX-License-Identifier: Apache-2.0
//
// How a call ends: with its tool, its reader or its front, or because of silence.
#include <csignal>
#include <thread>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// Waits for the process to be gone, whichever process had to reap it.
bool IsGoneWithin(pid_t process, milliseconds limit) {
    const auto end = steady_clock::now() + limit;
    while (kill(process, 0) == 0) {
        if (steady_clock::now() > end) return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

class EndOf : public FrontTest, public testing::WithParamInterface<const char *> {};

TEST_P(EndOf, ToolsExitCodeIsTheFronts) {
    for (int code = 0; code < 256; code++)
        tools_.On(GetParam()).Exit(code);
    for (int code = 0; code < 256; code++)
        EXPECT_EQ(rig::RunTool({Front(GetParam())}).status, code << 8);
}

TEST_P(EndOf, ToolsSignalIsTheFronts) {
    const std::vector<int> signals = {SIGHUP,  SIGINT,    SIGQUIT, SIGILL,  SIGTRAP, SIGABRT,
                                      SIGBUS,  SIGFPE,    SIGKILL, SIGUSR1, SIGSEGV, SIGUSR2,
                                      SIGPIPE, SIGALRM,   SIGTERM, SIGXCPU, SIGXFSZ, SIGPROF,
                                      SIGSYS,  SIGVTALRM, SIGRTMIN};
    for (const int number : signals)
        tools_.On(GetParam()).Die(number);
    for (const int number : signals)
        EXPECT_EQ(rig::RunTool({Front(GetParam())}).status, number);
}

TEST_P(EndOf, ToolsOutputArrivesWhole) {
    std::string bytes;
    for (unsigned i = 0; i < 1000000; i++) {
        bytes += static_cast<char>(i * 7919 >> 3);
    }
    tools_.On(GetParam()).Output(bytes).Exit(4);
    const rig::ToolOutcome outcome = rig::RunTool({Front(GetParam())});
    EXPECT_TRUE(outcome.output == bytes);
    EXPECT_EQ(outcome.status, 4 << 8);
}

INSTANTIATE_TEST_SUITE_P(Front, EndOf,
                         testing::Values("ldapsearch", "ldapmodify", "ldappasswd", "slappasswd",
                                         "slapcat"),
                         [](const auto &tool) { return std::string(tool.param); });

TEST_F(FrontTest, ExitCodeSurvivesACallerThatIgnoresItsChildren) {
    tools_.On("ldapsearch").Exit(32);
    const rig::ToolOutcome outcome = rig::RunTool(
        {"/usr/bin/env", "--ignore-signal=CHLD", "--ignore-signal=PIPE", Front("ldapsearch")});
    EXPECT_EQ(outcome.status, 32 << 8);
}

TEST_F(FrontTest, SearchEndsWithItsReader) {
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: o=x\n\n").Hang();
    rig::RunningTool front({Front("ldapsearch")});
    char first[9];
    ASSERT_EQ(read(front.Reader(), first, sizeof first), 9);
    const pid_t backend = tools_.Calls().at(0).pid;
    const auto start = steady_clock::now();
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_LT(steady_clock::now() - start, milliseconds(20));
    EXPECT_EQ(status, SIGPIPE);
    EXPECT_EQ(kill(backend, 0), -1) << "the tool must be reaped before its front ends";
}

TEST_F(FrontTest, FloodingSearchEndsWithItsReader) {
    tools_.On("ldapsearch").IgnoreSignals().Flood("dn: o=x\n\n").Hang();
    rig::RunningTool front({Front("ldapsearch")});
    char first = 0;
    ASSERT_EQ(read(front.Reader(), &first, 1), 1);
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, SIGPIPE);
}

TEST_F(FrontTest, SearchWithoutAReaderFromTheStartEnds) {
    tools_.On("ldapsearch").IgnoreSignals().Hang();
    rig::RunningTool front({Front("ldapsearch")});
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, SIGPIPE);
}

TEST_F(FrontTest, SearchIntoAFileEndsByItself) {
    tools_.On("ldapsearch").Output("dn: o=x\n\n").Sleep(milliseconds(50)).Exit(3);
    const std::string path = "/tmp/front-test-output";
    const rig::ToolOutcome outcome =
        rig::RunTool({"/bin/bash", "-c", Front("ldapsearch") + " >" + path});
    EXPECT_EQ(outcome.status, 3 << 8);
    EXPECT_EQ(std::filesystem::file_size(path), 9U);
    std::filesystem::remove(path);
}

// A change in progress must be completed.
TEST_F(FrontTest, ModifyContinuesWithoutAReader) {
    const std::string go = "/tmp/front-test-go";
    tools_.On("ldapmodify").WaitForFile(go).Exit(68);
    rig::RunningTool front({Front("ldapmodify")});
    ASSERT_TRUE(tools_.WaitForCalls(1));
    front.CloseReader();
    int status = 0;
    EXPECT_FALSE(front.FinishWithin(milliseconds(100), status));
    WriteFile(go, "");
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, 68 << 8);
    std::filesystem::remove(go);
}

class KilledFront : public FrontTest, public testing::WithParamInterface<int> {};

TEST_P(KilledFront, TakesItsToolWithIt) {
    tools_.On("ldapsearch").IgnoreSignals().Hang();
    rig::RunningTool front({Front("ldapsearch")});
    ASSERT_TRUE(tools_.WaitForCalls(1));
    const pid_t backend = tools_.Calls().at(0).pid;
    ASSERT_NE(backend, front.Pid());
    kill(front.Pid(), GetParam());
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, GetParam());
    EXPECT_TRUE(IsGoneWithin(backend, seconds(5)));
}

INSTANTIATE_TEST_SUITE_P(Front, KilledFront, testing::Values(SIGTERM, SIGKILL, SIGINT, SIGHUP));

// Kills the front at every moment of its start: no tool may survive.
TEST_F(FrontTest, KilledDuringItsStartLeavesNoTool) {
    tools_.On("ldapsearch").IgnoreSignals().Hang();
    for (int delay = 0; delay < 1500; delay += 25) {
        rig::RunningTool front({Front("ldapsearch"), "-w", "geheim"});
        std::this_thread::sleep_for(std::chrono::microseconds(delay));
        kill(front.Pid(), SIGKILL);
        // A surviving tool would hold the pipe open.
        front.CloseReader();
        front.Finish();
    }
    for (const rig::FakeCall &call : tools_.Calls())
        ASSERT_TRUE(IsGoneWithin(call.pid, seconds(5)));
}

class Silence : public FrontTest, public testing::WithParamInterface<const char *> {
  protected:
    void SetUp() override {
        WriteFile("/usr/zafo/etc/tools.conf", "timeout 1\nnetwork_timeout 1\n");
    }
};

TEST_P(Silence, EndsAClient) {
    tools_.On(GetParam()).IgnoreSignals().Hang();
    const auto start = steady_clock::now();
    const rig::ToolOutcome outcome = rig::RunTool({Front(GetParam())});
    EXPECT_EQ(outcome.status, 255 << 8);
    EXPECT_EQ(outcome.output, std::string(GetParam()) + ": no answer from the server\n");
    EXPECT_GT(steady_clock::now() - start, seconds(2));
    EXPECT_LT(steady_clock::now() - start, seconds(4));
    EXPECT_TRUE(IsGoneWithin(tools_.Calls().at(0).pid, milliseconds(1)));
}

INSTANTIATE_TEST_SUITE_P(Front, Silence, testing::Values("ldapsearch", "ldapmodify", "ldappasswd"),
                         [](const auto &tool) { return std::string(tool.param); });

TEST_F(Silence, OfASlowReaderDoesNotCount) {
    tools_.On("ldapsearch").Output(std::string(1 << 20, 'x')).Exit(9);
    rig::RunningTool front({Front("ldapsearch")});
    int status = 0;
    EXPECT_FALSE(front.FinishWithin(seconds(4), status));
    const rig::ToolOutcome outcome = front.Finish();
    EXPECT_EQ(outcome.output.size(), size_t{1 << 20});
    EXPECT_EQ(outcome.status, 9 << 8);
}

TEST_F(Silence, InterruptedOnceInAWhileDoesNotCount) {
    rig::FakeScript script = tools_.On("ldapsearch");
    for (int i = 0; i < 4; i++)
        script.Output("x").Sleep(milliseconds(1200));
    const rig::ToolOutcome outcome = rig::RunTool({Front("ldapsearch")});
    EXPECT_EQ(outcome.output, "xxxx");
    EXPECT_EQ(outcome.status, 0);
}

}  // namespace
}  // namespace zafo
