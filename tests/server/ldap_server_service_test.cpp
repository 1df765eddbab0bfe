// SPDX-License-Identifier: Apache-2.0
//
// The server as a service: starting it, which includes two seconds to prove itself, stopping it,
// and whether it is running.
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "platform/process.h"
#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr const char *kIgnoresTheEnd = "trap '' TERM; sleep 1000";

class Service : public ServiceTest {};

TEST_F(Service, StartTakesTwoSecondsAlsoWhenASignalArrives) {
    signal(SIGALRM, [](int) {});
    const itimerval soon{{0, 0}, {0, 300'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const auto before = steady_clock::now();
    EXPECT_EQ(ZAFOLDAPServerStart(), 0);
    EXPECT_GE(steady_clock::now() - before, seconds(2));
    signal(SIGALRM, SIG_DFL);
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 1);
    EXPECT_THAT(Tools(), ElementsAre("start-server"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Service, ServerThatEndsWithinTheTwoSecondsHasNotStarted) {
    Describe({.process = "sleep 0.5"});
    EXPECT_EQ(ZAFOLDAPServerStart(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Start slapd service failed"));
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 0);
}

TEST_F(Service, FailedStartIsNotWaitedForAndNotLogged) {
    const auto before = steady_clock::now();
    tools_.On("start-server").Exit(1);
    EXPECT_EQ(ZAFOLDAPServerStart(), -1);
    EXPECT_LT(steady_clock::now() - before, seconds(2));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlots(kStaleLdapCode, 0xD100);
}

TEST_F(Service, ThatIsNotEnabledIsNotStarted) {
    EXPECT_EQ(QLIBServiceDisable("ldap-server"), 0);
    EXPECT_EQ(ZAFOLDAPServerStart(), -1);
    ExpectSlots(kStaleLdapCode, 0xD100);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(Service, StopEndsTheProcess) {
    StartBefore();
    const pid_t pid = Pid();
    EXPECT_EQ(ZAFOLDAPServerStop(), 0);
    EXPECT_EQ(QLIBCProcAlive(pid), 0);
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 0);
    EXPECT_THAT(Tools(), ElementsAre("server-stopped"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Service, StopOfAServerThatDoesNotRunSucceeds) {
    EXPECT_EQ(ZAFOLDAPServerStop(), 0);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Service, ServerThatDoesNotEndIsAFailureWithoutALog) {
    Describe({.process = kIgnoresTheEnd, .settings = "stop_seconds=1\n"});
    StartBefore();
    EXPECT_EQ(ZAFOLDAPServerStop(), -1);
    ExpectSlots(kStaleLdapCode, 0xD200);
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Service, AnyFailureOfTheEndIsTheSameError) {
    std::filesystem::remove("/usr/zafo/etc.defaults/service/ldap-server.conf");
    EXPECT_EQ(ZAFOLDAPServerStop(), -1);
    ExpectSlots(kStaleLdapCode, 0xD200);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Service, ServerThatStillRunsAfterItsEndIsLogged) {
    const std::string other = "echo " + std::to_string(getpid()) + " >/var/run/slapd.pid";
    Describe({.stopped = other.c_str()});
    StartBefore();
    EXPECT_EQ(ZAFOLDAPServerStop(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Stop slapd service failed"));
    ExpectSlotsUntouched();
}

class IsStarted : public ServiceTest {
  protected:
    static constexpr int kUntouched = -5;
    int pid_ = kUntouched;
};

TEST_F(IsStarted, ReportsTheProcess) {
    StartBefore();
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid_), 1);
    EXPECT_EQ(pid_, Pid());
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 1);
}

TEST_F(IsStarted, ServiceMustBeEnabled) {
    StartBefore();
    EXPECT_EQ(QLIBServiceDisable("ldap-server"), 0);
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid_), 0);
    EXPECT_EQ(pid_, kUntouched);
}

TEST_F(IsStarted, PidFileMustNameALivingProcess) {
    for (const char *text : {"", "0\n", "-1\n", "words\n", "99999999\n"}) {
        Write(kPidFile, text);
        EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid_), 0) << text;
    }
    std::filesystem::remove(kPidFile);
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid_), 0);
    EXPECT_EQ(pid_, kUntouched);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(IsStarted, AnyLivingProcessOfThePidFileCounts) {
    Write(kPidFile, std::to_string(getpid()) + "\n");
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid_), 1);
    EXPECT_EQ(pid_, getpid());
}

}  // namespace
}  // namespace zafo::server_test
