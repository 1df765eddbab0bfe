// SPDX-License-Identifier: Apache-2.0
//
// Services simulated by shell scripts, under the real paths of a private root.
#include "platform/service.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/process.h"
#include "tests/host/owners.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;
using zafo::test::ReadFile;
using zafo::test::WriteFile;

constexpr const char *kDescription = "/usr/zafo/etc.defaults/service/demo.conf";
constexpr const char *kOwnSettings = "/usr/zafo/etc/service/demo.conf";
constexpr const char *kSwitch = "/usr/zafo/etc/service/demo.enabled";
constexpr const char *kRecord = "/run/zafo-service/demo";
constexpr const char *kPidFile = "/tmp/demo/pid";

// Leaves a background process that ends on SIGTERM.
constexpr const char *kGoodStart =
    "echo start >>/tmp/demo/calls\nsetsid sleep 1000 >/dev/null 2>&1 &\necho $! >/tmp/demo/pid\n";

void WriteProgram(const std::string &path, const std::string &body) {
    WriteFile(path, "#!/bin/bash\n" + body);
    fs::permissions(path, fs::perms::owner_all);
}

pid_t PidInFile() {
    return QLIBCReadPidFile(kPidFile);
}

// A process unrelated to the service.
class Stranger {
  public:
    Stranger() {
        char name[] = "sleep";
        char duration[] = "1000";
        char *argv[] = {name, duration, nullptr};
        EXPECT_EQ(posix_spawn(&pid_, "/bin/sleep", nullptr, nullptr, argv, environ), 0);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;
    ~Stranger() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    pid_t Pid() const { return pid_; }
    bool Lives() const { return QLIBCProcAlive(pid_) == 1; }
    // Has ended, but has not been waited for.
    void BecomeZombie() const {
        kill(pid_, SIGKILL);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
    }

  private:
    pid_t pid_ = 0;
};

class Service : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories("/tmp/demo");
        fs::create_directories(fs::path(kDescription).parent_path());
        Describe("");
        WriteProgram("/tmp/demo/start", kGoodStart);
        WriteProgram("/tmp/demo/stopped", "echo \"stopped $*\" >>/tmp/demo/calls\n");
        ASSERT_EQ(QLIBServiceEnable("demo"), 0);
        QLIBCErrSet(0);
    }

    void TearDown() override {
        if (started_ > 0) kill(started_, SIGKILL);
        for (const char *path : {"/tmp/demo", "/run/zafo-service", "/usr/zafo/etc/service"})
            fs::remove_all(path);
        fs::remove(kDescription);
    }

    static void Describe(const std::string &more) {
        WriteFile(kDescription,
                  "# a service\nstart = /tmp/demo/start now\nstopped=/tmp/demo/stopped after end\n"
                  "pid_file=/tmp/demo/pid\nstop_seconds=1\n" +
                      more);
    }

    // Starts the service and remembers its process, which must be gone after the test.
    int Start() {
        const int result = QLIBServiceStart("demo", 0);
        if (started_ == 0) started_ = PidInFile();
        return result;
    }

    std::string Calls() const { return ReadFile("/tmp/demo/calls"); }

    pid_t started_ = 0;
};

TEST_F(Service, IsStartedOnceAndRecorded) {
    EXPECT_EQ(Start(), 0);
    ASSERT_GT(started_, 0);
    EXPECT_THAT(ReadFile(kRecord), testing::StartsWith(std::to_string(started_) + " "));
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(PidInFile(), started_);
    EXPECT_EQ(Calls(), "start\n");
}

TEST_F(Service, IsStoppedWithItsPidFileAndRecordGone) {
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_EQ(QLIBCProcAlive(started_), 0);
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_FALSE(fs::exists(kRecord));
    EXPECT_EQ(Calls(), "start\nstopped after end\n");
}

TEST_F(Service, ThatDoesNotRunIsStoppedWithoutItsHook) {
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_EQ(Calls(), "");
}

TEST_F(Service, ThatEndedByItselfGetsItsHookWhenItIsStopped) {
    ASSERT_EQ(Start(), 0);
    kill(started_, SIGKILL);
    while (QLIBCProcAlive(started_) == 1)
        std::this_thread::sleep_for(milliseconds(1));
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_EQ(Calls(), "start\nstopped after end\n");
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(Service, ThatIsNotEnabledDoesNotStart) {
    ASSERT_EQ(QLIBServiceDisable("demo"), 0);
    EXPECT_EQ(Start(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD100);
    EXPECT_EQ(Calls(), "");
}

TEST_F(Service, GetsNoDescriptorOfItsCaller) {
    const int own = open("/dev/zero", O_RDONLY);
    ASSERT_EQ(Start(), 0);
    // A program being loaded opens and closes files itself.
    std::vector<std::string> targets;
    for (const auto &entry : fs::directory_iterator("/proc/" + std::to_string(started_) + "/fd")) {
        std::error_code gone;
        targets.push_back(fs::read_symlink(entry.path(), gone));
    }
    EXPECT_THAT(targets, testing::Contains("/dev/null"));
    EXPECT_THAT(targets, testing::Not(testing::Contains("/dev/zero")));
    close(own);
}

TEST_F(Service, LeavesNoDescriptorOpenInItsCaller) {
    const auto count = [] {
        const fs::directory_iterator open("/proc/self/fd");
        return std::distance(fs::begin(open), fs::end(open));
    };
    const auto before = count();
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    WriteProgram("/tmp/demo/start", "exit 1\n");
    EXPECT_EQ(Start(), -1);
    EXPECT_EQ(count(), before);
}

struct FailureRow {
    const char *name;
    const char *start;  // the start program; nullptr: it does not exist
    int error;
};

class FailingStart : public Service, public testing::WithParamInterface<FailureRow> {};

TEST_P(FailingStart, IsReportedAndNotRecorded) {
    if (GetParam().start == nullptr) {
        fs::remove("/tmp/demo/start");
    } else {
        WriteProgram("/tmp/demo/start", GetParam().start);
    }
    EXPECT_EQ(Start(), -1);
    EXPECT_EQ(QLIBCErrGet(), GetParam().error);
    EXPECT_FALSE(fs::exists(kRecord));
}

INSTANTIATE_TEST_SUITE_P(
    Host, FailingStart,
    testing::Values(FailureRow{"Missing", nullptr, 0x0900},
                    FailureRow{"ExitCode", "exit 3\n", 0xD100},
                    FailureRow{"Signal", "kill -KILL $$\n", 0xD100},
                    FailureRow{"NoPidFile", "exit 0\n", 0xD100},
                    FailureRow{"DiesAtOnce", "true & wait; echo $! >/tmp/demo/pid\n", 0xD100}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(Service, ThatNamesAnotherProgramsProcessHasNotStarted) {
    const Stranger stranger;
    Describe("program=/bin/bash\n");
    WriteProgram("/tmp/demo/start", "echo " + std::to_string(stranger.Pid()) + " >/tmp/demo/pid\n");
    EXPECT_EQ(QLIBServiceStart("demo", 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD100);
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(Service, WhosePidFileComesLateIsWaitedFor) {
    WriteProgram("/tmp/demo/start",
                 "setsid bash -c 'sleep 0.3; echo $$ >/tmp/demo/pid; exec sleep 1000' "
                 ">/dev/null 2>&1 &\n");
    EXPECT_EQ(Start(), 0);
    EXPECT_GT(started_, 0);
}

TEST_F(Service, ThatDoesNotEndIsLeftAlone) {
    WriteProgram("/tmp/demo/start",
                 "trap '' TERM\nsetsid sleep 1000 >/dev/null 2>&1 &\necho $! >/tmp/demo/pid\n");
    ASSERT_EQ(Start(), 0);
    const auto before = steady_clock::now();
    EXPECT_EQ(QLIBServiceStop("demo", 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD200);
    EXPECT_GE(steady_clock::now() - before, milliseconds(950));
    EXPECT_LT(steady_clock::now() - before, seconds(5));
    EXPECT_EQ(QLIBCProcAlive(started_), 1);
    EXPECT_EQ(PidInFile(), started_);
    EXPECT_TRUE(fs::exists(kRecord));
}

TEST_F(Service, WithAStalePidFileCountsAsStopped) {
    WriteFile(kPidFile, "999999\n");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_FALSE(fs::exists(kPidFile));
}

TEST_F(Service, NeverKillsAForeignProcessNamedByThePidFile) {
    const Stranger stranger;
    WriteFile(kPidFile, std::to_string(stranger.Pid()) + "\n");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_TRUE(stranger.Lives());
    EXPECT_FALSE(fs::exists(kPidFile));
}

TEST_F(Service, NeverKillsAForeignProcessThatHasItsPid) {
    const Stranger stranger;
    fs::create_directories("/run/zafo-service");
    WriteFile(kRecord, std::to_string(stranger.Pid()) + " 1\n");
    WriteFile(kPidFile, std::to_string(stranger.Pid()) + "\n");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_TRUE(stranger.Lives());
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(Service, IsNotMistakenForAForeignProcessWhenItStarts) {
    const Stranger stranger;
    WriteFile(kPidFile, std::to_string(stranger.Pid()) + "\n");
    EXPECT_EQ(Start(), 0);
    EXPECT_NE(started_, stranger.Pid());
    EXPECT_EQ(Calls(), "start\n");
}

TEST_F(Service, WhoseProcessIsAZombieHasEnded) {
    const Stranger child;
    WriteFile(kPidFile, std::to_string(child.Pid()) + "\n");
    Describe("program=/bin/sleep\n");
    ASSERT_EQ(QLIBServiceStart("demo", 0), 0);
    child.BecomeZombie();
    const auto before = steady_clock::now();
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_LT(steady_clock::now() - before, milliseconds(500));
}

TEST_F(Service, ThatWasStartedByHandIsKnownByItsProgram) {
    Describe("program=/bin/sleep\n");
    const Stranger by_hand;
    WriteFile(kPidFile, std::to_string(by_hand.Pid()) + "\n");
    EXPECT_EQ(QLIBServiceStart("demo", 0), 0);
    EXPECT_EQ(Calls(), "");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_FALSE(by_hand.Lives());
}

TEST_F(Service, WithADeadRecordIsStillKnownByItsProgram) {
    Describe("program=/bin/sleep\n");
    const Stranger by_hand;
    fs::create_directories("/run/zafo-service");
    WriteFile(kRecord, "999999 1\n");
    WriteFile(kPidFile, std::to_string(by_hand.Pid()) + "\n");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_FALSE(by_hand.Lives());
}

TEST_F(Service, OwnSettingsGoBeforeTheDefaults) {
    WriteProgram("/tmp/demo/other", std::string("echo other >>/tmp/demo/calls\n") + kGoodStart);
    WriteFile(kOwnSettings, "start=/tmp/demo/other\nstopped=\n");
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_EQ(Calls(), "other\nstart\n");
}

TEST_F(Service, IsEnabledAndDisabledWithoutStartingOrStoppingIt) {
    EXPECT_EQ(QLIBServiceIsEnabled("demo"), 1);
    EXPECT_EQ(QLIBServiceEnable("demo"), 0);
    EXPECT_TRUE(fs::exists(kSwitch));
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(QLIBServiceDisable("demo"), 0);
    EXPECT_EQ(QLIBServiceIsEnabled("demo"), 0);
    EXPECT_EQ(QLIBServiceDisable("demo"), 0);
    EXPECT_EQ(QLIBCProcAlive(started_), 1);
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_EQ(QLIBServiceEnable("demo"), 0);
    EXPECT_EQ(PidInFile(), 0);
}

TEST_F(Service, ThatCannotBeEnabledSaysSo) {
    fs::remove(kSwitch);
    fs::create_directory(kSwitch);
    EXPECT_EQ(QLIBServiceEnable("demo"), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0B00);
}

TEST_F(Service, WithoutADescriptionDoesNotExist) {
    for (const char *text : {"pid_file=/tmp/demo/pid\n", "start=/bin/true\n",
                             "start=/bin/true\npid_file=demo/pid\n", "start=\npid_file=/x\n"}) {
        SCOPED_TRACE(text);
        WriteFile(kDescription, text);
        QLIBCErrSet(0);
        EXPECT_EQ(QLIBServiceStart("demo", 0), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0900);
    }
    fs::remove(kDescription);
    const auto error = [](int result) { return result == -1 ? QLIBCErrGet() : 0; };
    EXPECT_EQ(error(QLIBServiceStart("demo", 0)), 0x0900);
    EXPECT_EQ(error(QLIBServiceStop("demo", 0)), 0x0900);
    EXPECT_EQ(error(QLIBServiceEnable("demo")), 0x0900);
    EXPECT_EQ(error(QLIBServiceDisable("demo")), 0x0900);
}

TEST_F(Service, NamesAndFlagsAreChecked) {
    const auto error = [](int result) { return result == -1 ? QLIBCErrGet() : 0; };
    for (const char *name : {static_cast<const char *>(nullptr), "", "../demo", ".demo", "-demo",
                             "a/b", "a b", "a\n"}) {
        SCOPED_TRACE(name == nullptr ? "NULL" : name);
        QLIBCErrSet(0);
        EXPECT_EQ(error(QLIBServiceStart(name, 0)), 0x0D00);
        EXPECT_EQ(error(QLIBServiceStop(name, 0)), 0x0D00);
        EXPECT_EQ(error(QLIBServiceEnable(name)), 0x0D00);
        EXPECT_EQ(error(QLIBServiceDisable(name)), 0x0D00);
        EXPECT_EQ(QLIBServiceIsEnabled(name), 0);
    }
    EXPECT_EQ(error(QLIBServiceStart("demo", 1)), 0x0D00);
    EXPECT_EQ(error(QLIBServiceStop("demo", 1)), 0x0D00);
}

TEST_F(Service, WhoseStartProgramsResultIsLostHasNotStarted) {
    WriteProgram("/tmp/demo/start", std::string(kGoodStart) + "exit 3\n");
    EXPECT_EQ(zafo::test::InFork([] {
                  signal(SIGCHLD, SIG_IGN);
                  if (QLIBServiceStart("demo", 0) != -1) return 1;
                  return QLIBCErrGet() == 0xD100 ? 0 : 2;
              }),
              0);
    started_ = PidInFile();
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(Service, StartedConcurrentlyIsStartedOnce) {
    EXPECT_TRUE(zafo::test::InProcesses(8, [](int) { return QLIBServiceStart("demo", 0); }));
    started_ = PidInFile();
    EXPECT_EQ(Calls(), "start\n");
}

// A script mounted over the real systemctl.
class SystemdUnit : public Service {
  protected:
    void SetUp() override {
        Service::SetUp();
        WriteProgram("/tmp/demo/systemctl",
                     "echo \"$*\" >>/tmp/demo/calls\n"
                     "case $* in\n"
                     "*show*) cat /tmp/demo/state ;;\n"
                     "*is-enabled*) [ -e /tmp/demo/enabled ] ;;\n"
                     "*) [ ! -e /tmp/demo/fails ] ;;\n"
                     "esac\n");
        if (!fs::exists("/usr/bin/systemctl")) GTEST_SKIP() << "this machine has no systemctl";
        if (mount("/tmp/demo/systemctl", "/usr/bin/systemctl", nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "nothing can be mounted here: " << std::strerror(errno);
        }
        mounted_ = true;
        fs::create_directories("/run/systemd/system");
        WriteFile("/tmp/demo/state", "loaded\n");
        WriteFile("/tmp/demo/enabled", "");
    }

    void TearDown() override {
        if (mounted_) umount2("/usr/bin/systemctl", MNT_DETACH);
        fs::remove_all("/run/systemd");
        Service::TearDown();
    }

    // The verbs passed to systemctl.
    std::vector<std::string> Verbs() const {
        std::vector<std::string> verbs;
        std::istringstream calls(Calls());
        for (std::string line; std::getline(calls, line);) {
            std::istringstream words(line);
            for (std::string word; words >> word;) {
                if (word[0] == '-') continue;
                verbs.push_back(word);
                break;
            }
            EXPECT_THAT(line, HasSubstr(" demo.service"));
        }
        return verbs;
    }

    bool mounted_ = false;
};

TEST_F(SystemdUnit, IsSystemdsToStartAndStop) {
    EXPECT_EQ(QLIBServiceStart("demo", 0), 0);
    EXPECT_THAT(Verbs(), ElementsAre("show", "is-enabled", "start"));
    fs::remove("/tmp/demo/calls");
    EXPECT_EQ(QLIBServiceStop("demo", 0), 0);
    EXPECT_THAT(Verbs(), ElementsAre("show", "stop"));
    EXPECT_FALSE(fs::exists(kRecord));
}

TEST_F(SystemdUnit, IsSystemdsToEnableAndDisable) {
    EXPECT_EQ(QLIBServiceEnable("demo"), 0);
    EXPECT_EQ(QLIBServiceDisable("demo"), 0);
    EXPECT_THAT(Verbs(), ElementsAre("show", "enable", "show", "disable"));
    EXPECT_EQ(QLIBServiceIsEnabled("demo"), 1);
    fs::remove("/tmp/demo/enabled");
    EXPECT_EQ(QLIBServiceIsEnabled("demo"), 0);
}

TEST_F(SystemdUnit, ThatIsNotEnabledDoesNotStart) {
    fs::remove("/tmp/demo/enabled");
    EXPECT_EQ(QLIBServiceStart("demo", 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD100);
    EXPECT_THAT(Verbs(), ElementsAre("show", "is-enabled"));
}

TEST_F(SystemdUnit, IsNotTakenForEnabledWhenSystemctlsResultIsLost) {
    fs::remove("/tmp/demo/enabled");
    EXPECT_EQ(zafo::test::InFork([] {
                  signal(SIGCHLD, SIG_IGN);
                  return QLIBServiceIsEnabled("demo");
              }),
              0);
}

TEST_F(SystemdUnit, ReportsWhatSystemdRefuses) {
    WriteFile("/tmp/demo/fails", "");
    const auto error = [](int result) { return result == -1 ? QLIBCErrGet() : 0; };
    EXPECT_EQ(error(QLIBServiceStart("demo", 0)), 0xD100);
    EXPECT_EQ(error(QLIBServiceStop("demo", 0)), 0xD200);
    EXPECT_EQ(error(QLIBServiceEnable("demo")), 0x0B00);
    EXPECT_EQ(error(QLIBServiceDisable("demo")), 0x0B00);
}

TEST_F(SystemdUnit, ThatIsMissingLeavesTheServiceOurs) {
    WriteFile("/tmp/demo/state", "not-found\n");
    EXPECT_EQ(Start(), 0);
    EXPECT_GT(started_, 0);
    EXPECT_TRUE(fs::exists(kRecord));
}

TEST_F(SystemdUnit, IsNotLookedForWhereSystemdDoesNotRun) {
    fs::remove_all("/run/systemd");
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(Calls(), "start\n");
}

}  // namespace
