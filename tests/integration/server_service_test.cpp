// SPDX-License-Identifier: Apache-2.0
//
// The server as a process: what prevents a start, a process that does not stop, and pid files that
// name another process.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "platform/service.h"
#include "tests/integration/server_fixture.h"
#include "tests/rig/running_tool.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char *kSettings = "/usr/zafo/etc/service/ldap-server.conf";

// A configured server without a database.
class Service : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
        ASSERT_EQ(ZAFOLDAPServerConfSet(&record), 0);
        ASSERT_EQ(ZAFOLDAPServerACLConfGen(&record), 0);
    }
    ~Service() override { fs::remove(kSettings); }

    static int Start() {
        QLIBCErrSet(QLIB_ERR_NONE);
        return ZAFOLDAPServerStart();
    }
    static int Stop() {
        QLIBCErrSet(QLIB_ERR_NONE);
        return ZAFOLDAPServerStop();
    }
    static bool Lives(pid_t pid) { return kill(pid, 0) == 0; }
    static bool Ends(pid_t pid) {
        for (const auto end = Clock::now() + 10s; Clock::now() < end;) {
            if (!Lives(pid)) return true;
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }
    static void ExpectNotStarted() {
        EXPECT_EQ(Start(), -1);
        EXPECT_EQ(LastCodes().platform, QLIB_ERR_SERVICE_START);
        EXPECT_EQ(ServerPid(), 0);
        EXPECT_FALSE(fs::exists(kPidFile));
        EXPECT_THAT(ServersRunning(), IsEmpty());
    }
    // slapd's command line names its program without a folder.
    static std::vector<int> ServersRunning() { return ProcessesRunning(kConfiguration); }
    static bool ComesBackAfter(pid_t before) {
        for (const auto end = Clock::now() + 20s; Clock::now() < end;) {
            if (ServerPid() > 1 && ServerPid() != before) return true;
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }
};

// Ports of listening sockets, in the format of /proc/net.
std::vector<int> ListeningPorts() {
    constexpr const char *kListen = "0A";
    std::vector<int> ports;
    for (const char *file : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::istringstream lines(FileContent(file));
        std::string number, local, remote, state;
        for (std::string line; std::getline(lines, line);) {
            std::istringstream(line) >> number >> local >> remote >> state;
            if (state == kListen)
                ports.push_back(std::stoi(local.substr(local.find(':') + 1), nullptr, 16));
        }
    }
    return ports;
}

uid_t OwnerOf(pid_t pid) {
    struct stat status {};
    EXPECT_EQ(stat(("/proc/" + std::to_string(pid)).c_str(), &status), 0);
    return status.st_uid;
}

TEST_F(Service, RunsAsTheServersUser) {
    if (!HasServerUser()) GTEST_SKIP() << "slapd has no user of its own in this root";
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(OwnerOf(ServerPid()), getpwnam("openldap")->pw_uid);
    EXPECT_EQ(Stop(), 0);
}

TEST_F(Service, ListensFromItsStartToItsStop) {
    ASSERT_EQ(Start(), 0);
    const pid_t pid = ServerPid();
    ASSERT_GT(pid, 1);
    EXPECT_THAT(ListeningPorts(), testing::IsSupersetOf({389, 636}));
    EXPECT_EQ(Stop(), 0);
    EXPECT_FALSE(Lives(pid));
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_THAT(ListeningPorts(), IsEmpty());
    EXPECT_EQ(Stop(), 0) << "stopping what does not run";
}

TEST_F(Service, ThatIsNotEnabledDoesNotStart) {
    QLIBServiceDisable(kService);
    ExpectNotStarted();
}

// Another program's socket, on the port of all addresses of a family.
class Taken {
  public:
    explicit Taken(int family) : fd_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int yes = 1;  // connections to the previous server may still be closing
        setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        setsockopt(fd_, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes);
        sockaddr_in6 address{};  // the port is at the same offset in both families
        address.sin6_family = static_cast<sa_family_t>(family);
        address.sin6_port = htons(389);
        const socklen_t size = family == AF_INET ? sizeof(sockaddr_in) : sizeof address;
        listens_ =
            bind(fd_, reinterpret_cast<sockaddr *>(&address), size) == 0 && listen(fd_, 1) == 0;
    }
    ~Taken() { close(fd_); }
    Taken(const Taken &) = delete;
    Taken &operator=(const Taken &) = delete;
    bool Listens() const { return listens_; }

  private:
    int fd_;
    bool listens_ = false;
};

TEST_F(Service, WhosePortIsTakenDoesNotStart) {
    for (const int family : {AF_INET, AF_INET6}) {
        SCOPED_TRACE(family == AF_INET ? "IPv4" : "IPv6");
        const Taken taken(family);
        ASSERT_TRUE(taken.Listens());
        ExpectNotStarted();
    }
}

TEST_F(Service, WhoseConfigurationIsBrokenDoesNotStart) {
    WriteFile(kConfiguration, FileContent(kConfiguration) + "nonsense of the administrator\n");
    ExpectNotStarted();
}

TEST_F(Service, WithoutConfigurationDoesNotStart) {
    fs::remove(kConfiguration);
    ExpectNotStarted();
}

TEST_F(Service, ThatMayNotReadItsRulesDoesNotStart) {
    if (!HasServerUser()) GTEST_SKIP() << "slapd has no user of its own in this root";
    ASSERT_EQ(chown(kAccessRules, 0, 0), 0);
    fs::permissions(kAccessRules, fs::perms(0600));
    ExpectNotStarted();
}

// Runs `before`, then kills the server as soon as it runs.
std::thread Killer(const std::function<void()> &before) {
    return std::thread([before] {
        for (const auto end = Clock::now() + 5s; Clock::now() < end;) {
            const int pid = ServerPid();
            std::this_thread::sleep_for(300ms);
            if (pid <= 1) continue;
            before();
            if (kill(pid, SIGKILL) == 0) return;
        }
    });
}

TEST_F(Service, ThatDiesWithinTwoSecondsAndCannotStartAgainHasNotStarted) {
    const std::string configuration = FileContent(kConfiguration);
    std::thread killer = Killer([] { WriteFile(kConfiguration, "nonsense\n"); });
    EXPECT_EQ(Start(), -1);
    killer.join();
    EXPECT_EQ(ServerPid(), 0);
    WriteFile(kConfiguration, configuration);
    EXPECT_EQ(Start(), 0) << "what is left of it is in the way";
}

TEST_F(Service, ThatDiesWithinTwoSecondsWithoutRestartHasNotStarted) {
    WriteFile(kSettings, "restart = no\n");
    std::thread killer = Killer([] {});
    EXPECT_EQ(Start(), -1);
    killer.join();
    EXPECT_EQ(ServerPid(), 0);
    EXPECT_EQ(Start(), 0) << "what is left of it is in the way";
}

TEST_F(Service, ThatIsKilledIsBackOnItsDatabase) {
    ASSERT_EQ(Start(), 0);
    const pid_t first = ServerPid();
    kill(first, SIGKILL);
    EXPECT_TRUE(ComesBackAfter(first));
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(ServersRunning(), IsEmpty());
}

// A restore holds the start lock while it swaps the database.
TEST_F(Service, ThatIsKilledIsNotStartedBeneathARestore) {
    ASSERT_EQ(Start(), 0);
    const pid_t first = ServerPid();
    const int lock = open("/var/run/ldap-server-start.lock", O_RDWR | O_CLOEXEC);
    ASSERT_GE(lock, 0);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    kill(first, SIGKILL);
    std::this_thread::sleep_for(700ms);
    EXPECT_THAT(ServersRunning(), IsEmpty());
    close(lock);
    EXPECT_TRUE(ComesBackAfter(first));
}

// It is sent a single SIGTERM, and ends when it can.
TEST_F(Service, ThatDoesNotStopIsLeftAloneAndReported) {
    WriteFile(kSettings, "stop_seconds = 1\n");
    ASSERT_EQ(Start(), 0);
    const pid_t pid = ServerPid();
    ASSERT_GT(pid, 1);
    kill(pid, SIGSTOP);
    EXPECT_EQ(Stop(), -1);
    EXPECT_EQ(LastCodes().platform, QLIB_ERR_SERVICE_STOP);
    EXPECT_EQ(ServerPid(), pid);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_TRUE(fs::exists(kConfiguration)) << "reset beneath a server";
    EXPECT_TRUE(Lives(pid));
    kill(pid, SIGCONT);
    EXPECT_TRUE(Ends(pid));
    EXPECT_EQ(Stop(), 0);
    EXPECT_EQ(rig::RunProgram({"/usr/zafo/bin/slapcat"}).exit_code, 0);
}

TEST_F(Service, StalePidFileIsNotAServer) {
    constexpr const char *kNobody = "4194303\n";
    WriteFile(kPidFile, kNobody);
    EXPECT_EQ(ServerPid(), 0);
    EXPECT_EQ(Stop(), 0);
    WriteFile(kPidFile, kNobody);
    EXPECT_EQ(Start(), 0);
    EXPECT_GT(ServerPid(), 1);
}

// An unrelated process whose pid is in the server's pid file.
class ForeignPidFile : public Service {
  protected:
    ~ForeignPidFile() override { fs::remove(kPidFile); }
    void Claim() const { WriteFile(kPidFile, std::to_string(other_.Pid()) + "\n"); }
    void TearDown() override { EXPECT_TRUE(Lives(other_.Pid())); }

    rig::RunningTool other_{{"/usr/bin/sleep", "600"}};
};

TEST_F(ForeignPidFile, IsNotEndedByStart) {
    Claim();
    EXPECT_EQ(Start(), 0);
    EXPECT_NE(ServerPid(), other_.Pid());
    EXPECT_NE(ServerPid(), 0);
}

TEST_F(ForeignPidFile, IsNotEndedByStop) {
    Claim();
    EXPECT_EQ(Stop(), 0);
    EXPECT_FALSE(fs::exists(kPidFile));
}

TEST_F(ForeignPidFile, IsNotEndedByReset) {
    Claim();
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
}

TEST_F(ForeignPidFile, IsNotEndedBySlapadd) {
    Claim();
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif, settings_.suffix.c_str());
    ZAFOLDAPLdifAttr(&ldif, "dc", "home");
    ZAFOLDAPLdifAttr(&ldif, "objectClass", "domain");
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif), 0);
    EXPECT_THAT(ContentDNs(), ElementsAreArray({settings_.suffix}));
}

// --- Full disks -----------------------------------------------------------------------

class FullDisk : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        fs::create_directories(kDatabase);
        mounted_ = mount("small", kDatabase, "tmpfs", 0, "size=96k") == 0;
        if (!mounted_) GTEST_SKIP() << "nothing can be mounted in this root";
    }
    ~FullDisk() override {
        ZAFOLDAPServerStop();
        if (mounted_) umount2(kDatabase, MNT_DETACH);
    }
    bool mounted_ = false;
};

TEST_F(FullDisk, StopsEnablingUntilThereIsRoom) {
    EXPECT_EQ(Enable(settings_), -1);
    EXPECT_NE(LastCodes().library, 0);
    EXPECT_EQ(ServerPid(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), ContentDNs().empty() ? 1 : 0);
    ASSERT_EQ(mount("small", kDatabase, "tmpfs", MS_REMOUNT, "size=8m"), 0);
    EXPECT_EQ(Enable(settings_), 0);
    EXPECT_THAT(ContentDNs(), ElementsAreArray(DirectoryDNs(settings_.suffix)));
}

TEST_F(FullDisk, UnderARunningServerIsReportedToTheCaller) {
    ASSERT_EQ(mount("small", kDatabase, "tmpfs", MS_REMOUNT, "size=8m"), 0);
    ASSERT_EQ(Enable(settings_), 0);
    const auto used = fs::space(kDatabase);
    const std::string room = "size=" + std::to_string(used.capacity - used.free);
    ASSERT_EQ(mount("small", kDatabase, "tmpfs", MS_REMOUNT, room.c_str()), 0);
    ZAFOLDAP_HOST host;
    ASSERT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, nullptr), 1);
    constexpr int kOther = 80;  // LDAP result code
    int added = 0;
    int result = 0;
    while (added < 200 && result == 0) {
        const std::string name = "box" + std::to_string(added++) + std::string(200, 'x');
        result = ZAFOLDAPBrowserNodeCreate(&host, name.c_str());
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(LastCodes().library, kOther);
    ASSERT_EQ(mount("small", kDatabase, "tmpfs", MS_REMOUNT, "size=8m"), 0);
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(&host, "there is room again"), 0);
    ZAFOLDAPHostFree(&host);
}

}  // namespace
}  // namespace zafo::test
