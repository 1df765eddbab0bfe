// SPDX-License-Identifier: Apache-2.0
//
// Services that are restarted when they end by themselves, simulated by shell scripts under the
// real paths of a private root.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/core/service_process.h"
#include "host/keeper/patience.h"
#include "host/keeper/service_ends.h"
#include "platform/process.h"
#include "platform/service.h"
#include "tests/host/owners.h"

namespace kept_service {
namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using zafo::ProcessId;
using zafo::test::ReadFile;
using zafo::test::WriteFile;

constexpr const char *kDescription = "/usr/zafo/etc.defaults/service/kept.conf";
constexpr const char *kRecord = "/run/zafo-service/kept";
constexpr const char *kEnds = "/run/zafo-service/kept.ends";
constexpr const char *kPidFile = "/tmp/kept/pid";
constexpr const char *kCalls = "/tmp/kept/calls";

constexpr const char *kGoodStart =
    "echo start >>/tmp/kept/calls\nsetsid sleep 1000 >/dev/null 2>&1 &\necho $! >/tmp/kept/pid\n";

void WriteProgram(const std::string &path, const std::string &body) {
    // A running program cannot be written to, but it can be replaced.
    WriteFile(path + ".new", "#!/bin/bash\n" + body);
    fs::permissions(path + ".new", fs::perms::owner_all);
    fs::rename(path + ".new", path);
}

bool Becomes(const std::function<bool()> &true_at_last) {
    for (const auto end = steady_clock::now() + 20s; steady_clock::now() < end;) {
        if (true_at_last()) return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

zafo::ServiceRecord Record() {
    return zafo::ReadServiceRecord(kRecord).value_or(zafo::ServiceRecord{});
}

bool Lives(const ProcessId &process) {
    return process.Lives();
}

int Starts() {
    const std::string calls = ReadFile(kCalls);
    return static_cast<int>(std::count(calls.begin(), calls.end(), '\n'));
}

// The number of processes that run a program of that name.
int Running(const std::string &name) {
    int count = 0;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        std::error_code gone;
        const fs::path program = fs::read_symlink(entry.path() / "exe", gone);
        count += program.filename() == name ? 1 : 0;
    }
    return count;
}

class KeptService : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories("/tmp/kept");
        fs::create_directories(fs::path(kDescription).parent_path());
        WriteFile(kDescription,
                  "start=/tmp/kept/start\npid_file=/tmp/kept/pid\nstop_seconds=5\nrestart=yes\n");
        WriteProgram("/tmp/kept/start", kGoodStart);
        ASSERT_EQ(QLIBServiceEnable("kept"), 0);
    }

    void TearDown() override {
        EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
        EXPECT_TRUE(NoKeeperIsLeft());
        for (const char *path : {"/tmp/kept", "/run/zafo-service", "/usr/zafo/etc/service"})
            fs::remove_all(path);
        fs::remove(kDescription);
    }

    static void Start() { ASSERT_EQ(QLIBServiceStart("kept", 0), 0); }

    static bool NoKeeperIsLeft() {
        return Becomes([] { return Running("zafo-service-keeper") == 0; });
    }

    // Kills the service's process and waits for the next one.
    static bool ComesBackAfter(int signal) {
        const ProcessId before = Record().service;
        kill(before.pid, signal);
        return Becomes([&] { return Record().service != before && Lives(Record().service); });
    }
};

TEST_F(KeptService, ThatIsKilledIsRestarted) {
    Start();
    const ProcessId keeper = Record().keeper;
    EXPECT_TRUE(ComesBackAfter(SIGSEGV));
    EXPECT_EQ(Record().keeper, keeper);
    EXPECT_EQ(Record().service.pid, QLIBCReadPidFile(kPidFile));
    EXPECT_EQ(Starts(), 2);
}

TEST_F(KeptService, IsCountedEachTime) {
    Start();
    EXPECT_FALSE(fs::exists(kEnds));
    EXPECT_TRUE(ComesBackAfter(SIGSEGV));
    EXPECT_TRUE(ComesBackAfter(SIGABRT));
    const std::string ends = ReadFile(kEnds);
    EXPECT_THAT(ends, HasSubstr("count=2\n"));
    EXPECT_THAT(ends, HasSubstr("signal=6\n"));
    EXPECT_THAT(ends, Not(HasSubstr("exit_code")));
    struct stat facts {};
    ASSERT_EQ(stat(kEnds, &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0644U);
}

TEST_F(KeptService, ThatFailsIsRestarted) {
    WriteProgram("/tmp/kept/start",
                 "echo start >>/tmp/kept/calls\n"
                 "setsid bash -c 'until [ -e /tmp/kept/fail ]; do sleep 0.01; done; "
                 "rm /tmp/kept/fail; exit 3' >/dev/null 2>&1 &\necho $! >/tmp/kept/pid\n");
    Start();
    WriteFile("/tmp/kept/fail", "");
    EXPECT_TRUE(Becomes([] { return Starts() == 2; }));
    EXPECT_TRUE(Becomes([] { return Lives(Record().service); }));
    EXPECT_THAT(ReadFile(kEnds), HasSubstr("exit_code=3\n"));
}

TEST_F(KeptService, ThatEndsOnRequestIsNotRestarted) {
    for (const int signal : {SIGTERM, SIGHUP}) {
        SCOPED_TRACE(signal);
        Start();
        kill(Record().service.pid, signal);
        EXPECT_TRUE(NoKeeperIsLeft());
    }
    WriteProgram("/tmp/kept/start", "setsid sleep 0.2 >/dev/null 2>&1 &\necho $! >/tmp/kept/pid\n");
    Start();
    EXPECT_TRUE(NoKeeperIsLeft()) << "exit code 0";
    EXPECT_EQ(Starts(), 2);
    EXPECT_FALSE(fs::exists(kEnds));
}

TEST_F(KeptService, ThatIsStoppedHasNoKeeper) {
    Start();
    EXPECT_TRUE(Lives(Record().keeper));
    EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
    EXPECT_TRUE(NoKeeperIsLeft());
    EXPECT_EQ(Starts(), 1);
}

// Its keeper waits for seconds after failed starts.
class WaitingService : public KeptService {
  protected:
    void SetUp() override {
        KeptService::SetUp();
        Start();
        first_ = Record();
        WriteProgram("/tmp/kept/start", "echo failed >>/tmp/kept/calls\nexit 1\n");
        kill(first_.service.pid, SIGKILL);
        EXPECT_TRUE(Becomes([] { return Starts() >= 4; }));
    }
    zafo::ServiceRecord first_;
};

TEST_F(WaitingService, ThatIsStoppedLosesItsKeeperImmediately) {
    const auto before = steady_clock::now();
    EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
    EXPECT_TRUE(NoKeeperIsLeft());
    EXPECT_LT(steady_clock::now() - before, 10s);
}

TEST_F(WaitingService, ThatIsStartedHasTheNewKeeperOnly) {
    WriteProgram("/tmp/kept/start", kGoodStart);
    Start();
    EXPECT_TRUE(Becomes([this] { return !Lives(first_.keeper); }));
    EXPECT_NE(Record().keeper, first_.keeper);
    EXPECT_TRUE(Lives(Record().keeper));
    EXPECT_TRUE(ComesBackAfter(SIGKILL));
}

TEST_F(WaitingService, StartsWhenItCanAgain) {
    WriteProgram("/tmp/kept/start", kGoodStart);
    EXPECT_TRUE(Becomes([] { return Lives(Record().service); }));
    EXPECT_EQ(Record().keeper, first_.keeper);
}

TEST_F(KeptService, ThatIsNoLongerEnabledIsNotRestarted) {
    Start();
    ASSERT_EQ(QLIBServiceDisable("kept"), 0);
    EXPECT_TRUE(Lives(Record().service));
    kill(Record().service.pid, SIGKILL);
    EXPECT_TRUE(NoKeeperIsLeft());
    EXPECT_EQ(Starts(), 1);
}

TEST_F(KeptService, ContinuesWithoutItsKeeper) {
    for (const int signal : {SIGTERM, SIGKILL}) {
        SCOPED_TRACE(signal);
        Start();
        const zafo::ServiceRecord record = Record();
        kill(record.keeper.pid, signal);
        EXPECT_TRUE(Becomes([&] { return !Lives(record.keeper); }));
        EXPECT_TRUE(Lives(record.service));
        EXPECT_EQ(QLIBServiceStart("kept", 0), 0) << "it runs already";
        EXPECT_EQ(Record().service, record.service);
        EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
        EXPECT_FALSE(Lives(record.service));
    }
}

// A stop always wins, however close the two are.
TEST_F(KeptService, IsStoppedForGoodWhileItIsRestarted) {
    for (int i = 0; i < 20; ++i) {
        Start();
        kill(Record().service.pid, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        ASSERT_EQ(QLIBServiceStop("kept", 0), 0);
        EXPECT_FALSE(fs::exists(kRecord));
        EXPECT_FALSE(fs::exists(kPidFile));
        ASSERT_TRUE(NoKeeperIsLeft());
        ASSERT_EQ(Running("sleep"), 0) << "round " << i;
    }
}

TEST_F(KeptService, WhoseStarterIsKilledStartsNonetheless) {
    WriteProgram("/tmp/kept/start", std::string("touch /tmp/kept/begun\nsleep 0.3\n") + kGoodStart);
    const pid_t starter = fork();
    ASSERT_GE(starter, 0);
    if (starter == 0) {
        QLIBServiceStart("kept", 0);
        _exit(0);
    }
    EXPECT_TRUE(Becomes([] { return fs::exists("/tmp/kept/begun"); }));
    kill(starter, SIGKILL);
    waitpid(starter, nullptr, 0);
    EXPECT_EQ(QLIBServiceStart("kept", 0), 0) << "waits for the start that is under way";
    EXPECT_EQ(Starts(), 1);
    EXPECT_TRUE(Lives(Record().keeper));
    EXPECT_TRUE(ComesBackAfter(SIGKILL));
}

TEST_F(KeptService, WhoseKeeperDiesWhileItStartsHasNotStarted) {
    WriteProgram("/tmp/kept/start", "kill -KILL $PPID\nsleep 0.1\n");
    EXPECT_EQ(QLIBServiceStart("kept", 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD100);
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(KeptService, WhosePidFileNamesAForeignProcessHasNotStarted) {
    const pid_t foreign = fork();
    if (foreign == 0) {
        pause();
        _exit(0);
    }
    WriteProgram("/tmp/kept/start", "echo " + std::to_string(foreign) + " >/tmp/kept/pid\n");
    EXPECT_EQ(QLIBServiceStart("kept", 0), -1);
    EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
    EXPECT_EQ(QLIBCProcAlive(foreign), 1);
    kill(foreign, SIGKILL);
    waitpid(foreign, nullptr, 0);
}

struct FailureRow {
    const char *start;  // nullptr: the program does not exist
    int error;
};

TEST_F(KeptService, ThatDoesNotStartIsReportedAndHasNoKeeper) {
    for (const FailureRow &row : {FailureRow{nullptr, 0x0900}, FailureRow{"exit 3\n", 0xD100},
                                  FailureRow{"kill -KILL $$\n", 0xD100}}) {
        fs::remove("/tmp/kept/start");
        if (row.start != nullptr) WriteProgram("/tmp/kept/start", row.start);
        EXPECT_EQ(QLIBServiceStart("kept", 0), -1);
        EXPECT_EQ(QLIBCErrGet(), row.error);
        EXPECT_FALSE(fs::exists(kRecord));
        EXPECT_TRUE(NoKeeperIsLeft());
    }
}

TEST_F(KeptService, HasAKeeperThatHoldsNothingOfItsCaller) {
    const int own = open("/dev/zero", O_RDONLY);
    setenv("KEPT_SECRET", "x", 1);
    Start();
    unsetenv("KEPT_SECRET");
    close(own);
    const fs::path proc = "/proc/" + std::to_string(Record().keeper.pid);
    std::vector<std::string> files;
    for (const auto &entry : fs::directory_iterator(proc / "fd"))
        files.push_back(fs::read_symlink(entry.path()));
    EXPECT_THAT(files, testing::Each("/dev/null"));
    EXPECT_EQ(fs::read_symlink(proc / "cwd"), "/");
    EXPECT_EQ(getsid(Record().keeper.pid), Record().keeper.pid);
    EXPECT_THAT(ReadFile(proc / "environ"), Not(HasSubstr("KEPT_SECRET")));
}

TEST_F(KeptService, IsStartedWithAnEnvironmentMadeFromNothing) {
    for (const char *restart : {"yes", "no"}) {
        SCOPED_TRACE(restart);
        WriteFile(kDescription, std::string("start=/tmp/kept/start\nstopped=/tmp/kept/stopped\n"
                                            "pid_file=/tmp/kept/pid\nrestart=") +
                                    restart + "\n");
        const char *tell = "tr '\\0' '\\n' </proc/$$/environ >";
        WriteProgram("/tmp/kept/start", std::string(tell) + "/tmp/kept/started\n" + kGoodStart);
        WriteProgram("/tmp/kept/stopped", std::string(tell) + "/tmp/kept/ended\n");
        setenv("BASH_ENV", "/tmp/kept/start", 1);
        setenv("LD_LIBRARY_PATH", "/tmp/kept", 1);
        Start();
        EXPECT_EQ(QLIBServiceStop("kept", 0), 0);
        unsetenv("BASH_ENV");
        unsetenv("LD_LIBRARY_PATH");
        for (const char *file : {"/tmp/kept/started", "/tmp/kept/ended"}) {
            EXPECT_THAT(ReadFile(file), HasSubstr("PATH=/usr/sbin:/usr/bin:/sbin:/bin\n"));
            EXPECT_THAT(ReadFile(file), HasSubstr("LC_ALL=C\n"));
            EXPECT_THAT(ReadFile(file), Not(HasSubstr("/tmp/kept"))) << file;
        }
    }
}

TEST(Patience, IsShortForAServiceThatServesAndLongForOneThatDoesNotStart) {
    zafo::Patience patience;
    EXPECT_EQ(patience.AfterEnd(1s), 0ms);
    EXPECT_EQ(patience.AfterEnd(1s), 250ms);
    EXPECT_EQ(patience.AfterEnd(9s), 500ms);
    EXPECT_EQ(patience.AfterEnd(10s), 500ms) << "neither long nor short";
    for (int i = 0; i < 10; ++i)
        patience.AfterEnd(0s);
    EXPECT_EQ(patience.AfterEnd(0s), 2s);
    EXPECT_EQ(patience.AfterEnd(60s), 0ms);
    EXPECT_EQ(patience.AfterFailedStart(), 250ms);
    EXPECT_EQ(patience.AfterFailedStart(), 500ms);
    for (int i = 0; i < 20; ++i)
        patience.AfterFailedStart();
    EXPECT_EQ(patience.AfterFailedStart(), 30s);
    patience.AfterEnd(60s);
    EXPECT_EQ(patience.AfterFailedStart(), 250ms);
}

}  // namespace
}  // namespace kept_service
