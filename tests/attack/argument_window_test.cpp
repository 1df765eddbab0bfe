// SPDX-License-Identifier: Apache-2.0
//
// An unprivileged user watches all processes while the library runs tools with passwords: bind
// passwords, new passwords, passwords to be hashed. The argument vector of every process is
// world-readable from its first moment.
#include <sched.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/process.h"
#include "tests/attack/stranger.h"
#include "tests/integration/integration.h"
#include "tests/rig/running_tool.h"

namespace zafo::test::argument_window {

using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

constexpr int kCommands = 200;
constexpr const char *kNewPassword = "zq7-a-new-password";
constexpr const char *kHashedPassword = "zq7-to-be-hashed";
constexpr const char *kDN = "uid=zoe,dc=example,dc=com";

// If there are two processors, the watcher has the last one to itself; this process and its tools
// use the others.
class Processors {
  public:
    Processors() {
        CPU_ZERO(&all_);
        if (sched_getaffinity(0, sizeof all_, &all_) != 0 || CPU_COUNT(&all_) < 2) return;
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &all_)) last_ = cpu;
        }
        cpu_set_t rest = all_;
        CPU_CLR(last_, &rest);
        sched_setaffinity(0, sizeof rest, &rest);
    }
    ~Processors() {
        if (last_ >= 0) sched_setaffinity(0, sizeof all_, &all_);
    }
    Processors(const Processors &) = delete;
    Processors &operator=(const Processors &) = delete;

    int Last() const { return last_; }  // -1: none to spare

  private:
    cpu_set_t all_{};
    int last_ = -1;
};

struct Sightings {
    long looks = 0;
    long tools = 0;
    double busy_seconds = 0;
    std::vector<std::string> finds;
};

std::string Backwards(const std::string &text) {
    return {text.rbegin(), text.rend()};
}

// A poller that runs until it is asked for its findings.
class Watcher {
  public:
    enum class Who { kNobody, kRoot };

    Watcher(Who who, const char *what, const std::vector<std::string> &secrets) {
        fs::remove(kStop);
        const std::string number = std::to_string(kNobody);
        std::vector<std::string> argv;
        if (who == Who::kNobody)
            argv = {"/usr/bin/setpriv", "--reuid", number, "--regid", number,
                    "--clear-groups",   "--"};
        argv.insert(argv.end(), {"/mnt/build/tests/attack/zafo-poller", what,
                                 std::to_string(processors_.Last()), kStop});
        for (const std::string &secret : secrets)
            argv.push_back(Backwards(secret));
        poller_.emplace(argv, std::vector<std::string>{"PATH=/usr/bin:/bin"});
        char ready[6];
        EXPECT_EQ(read(poller_->Reader(), ready, sizeof ready), 6);
    }

    Sightings Stop() {
        std::ofstream(kStop) << "";
        Sightings sightings;
        std::istringstream lines(poller_->Finish().output);
        for (std::string word, value; lines >> word && std::getline(lines >> std::ws, value);) {
            if (word == "looks") sightings.looks = std::stol(value);
            if (word == "tools") sightings.tools = std::stol(value);
            if (word == "busy") sightings.busy_seconds = std::stod(value) / 1000;
            if (word == "found") sightings.finds.push_back(value);
        }
        fs::remove(kStop);
        return sightings;
    }

  private:
    static constexpr const char *kStop = "/run/poller-stop";
    Processors processors_;
    std::optional<rig::RunningTool> poller_;
};

class ArgumentWindow : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_OTHER_ACCOUNTS();
        rig::LdifEntry entry(kDN);
        entry.Add("objectClass", "account").Add("objectClass", "simpleSecurityObject");
        entry.Add("uid", "zoe").Add("userPassword", "first");
        directory_.Add(entry);
        connection_.emplace(directory_);
    }
    void TearDown() override {
        if (connection_) directory_.Change(std::string("dn: ") + kDN + "\nchangetype: delete\n");
    }

    std::vector<std::string> Secrets() const {
        return {directory_.Password(), kNewPassword, kHashedPassword};
    }

    // Runs each kind of command that carries a secret, in turn, and expects 0.
    int Command(int number) {
        const ZAFOLDAP_HOST *connection = *connection_;
        char hash[256];
        switch (number % 4) {
            case 0:
                return Search(connection, {.filter = "(uid=zoe)"}).result;
            case 1:
                return Describe(connection, number);
            case 2:
                return ZAFOLDAPPasswd(connection, kDN, kNewPassword);
            default:
                return ZAFOLDAPEncryptPasswd(kHashedPassword, hash, sizeof hash);
        }
    }

    void RunCommands(int count) {
        for (int number = 0; number < count; ++number)
            ASSERT_EQ(Command(number), 0) << number;
        EXPECT_TRUE(directory_.Binds(kDN, kNewPassword));
    }

    ExampleDirectory &directory_ = rig::VariantDirectory("posix");
    std::optional<Connection> connection_;

  private:
    static int Describe(const ZAFOLDAP_HOST *host, int number) {
        ZAFOLDAP_LDIF ldif;
        if (ZAFOLDAPLdifInit(&ldif, nullptr) != 0) return -1;
        ZAFOLDAPLdifTargetDN(&ldif, kDN);
        ZAFOLDAPLdifChangeType(&ldif, "modify");
        ZAFOLDAPLdifAttrReplace(&ldif, "description", "changed %d times", number);
        return ZAFOLDAPModify(host, &ldif, 0);
    }
};

// The other tests rely on this.
TEST_F(ArgumentWindow, ThePollerFindsWhatIsInAVector) {
    Watcher watcher(Watcher::Who::kNobody, "cmdline", Secrets());
    const rig::RunningTool shown({"/usr/bin/tail", "-f", "/dev/null", kNewPassword});
    EXPECT_THAT(watcher.Stop().finds, Not(IsEmpty()));
}

TEST_F(ArgumentWindow, ShowsNoPasswordOfTwoHundredCommands) {
    Watcher watcher(Watcher::Who::kNobody, "cmdline", Secrets());
    RunCommands(kCommands);
    const Sightings seen = watcher.Stop();
    RecordProperty("looks_a_second",
                   static_cast<int>(static_cast<double>(seen.looks) / seen.busy_seconds));
    RecordProperty("tools_seen", static_cast<int>(seen.tools));
    // Relative to its own processor time, which does not depend on the machine's load.
    EXPECT_GT(static_cast<double>(seen.looks), 10'000 * seen.busy_seconds);
    EXPECT_GT(seen.tools, kCommands / 2);
    EXPECT_THAT(seen.finds, IsEmpty()) << seen.finds.size() << " processes showed a password";
}

// Root may read environments, but what is not there cannot be found.
TEST_F(ArgumentWindow, LeavesNoPasswordInAnEnvironment) {
    Watcher watcher(Watcher::Who::kRoot, "environ", Secrets());
    RunCommands(kCommands / 4);
    const Sightings seen = watcher.Stop();
    EXPECT_GT(seen.tools, kCommands / 8);
    EXPECT_THAT(seen.finds, IsEmpty());
}

TEST_F(ArgumentWindow, LeavesNoPasswordInAFileThatOthersCanRead) {
    std::ofstream("/tmp/in-plain-sight") << "x" << kNewPassword;
    Watcher proof(Watcher::Who::kNobody, "files", Secrets());
    EXPECT_THAT(proof.Stop().finds, testing::ElementsAre("/tmp/in-plain-sight"));
    fs::remove("/tmp/in-plain-sight");
    Watcher watcher(Watcher::Who::kNobody, "files", Secrets());
    RunCommands(kCommands / 4);
    const Sightings seen = watcher.Stop();
    EXPECT_GT(seen.tools, 0) << "no change file was seen";
    EXPECT_THAT(seen.finds, IsEmpty());
}

// The real tools read the file to its end, whatever it contains. 511 bytes are the most that
// crypt(3) hashes.
TEST_F(ArgumentWindow, PasswordsOfAnyBytesReachTheServerWhole) {
    std::string password(511, 'p');
    for (size_t i = 0; i < password.size(); ++i)
        password[i] = static_cast<char>(1 + i % 255);
    ASSERT_EQ(ZAFOLDAPPasswd(*connection_, kDN, password.c_str()), 0);
    EXPECT_TRUE(directory_.Binds(kDN, password));
    password.back() = '!';
    EXPECT_FALSE(directory_.Binds(kDN, password));
}

// More than an argument can hold: the server refuses it, not the system.
TEST_F(ArgumentWindow, APasswordLargerThanAnArgumentReachesTheServer) {
    constexpr int kInvalidCredentials = 49;
    const std::string password(200 << 10, 'p');
    connection_->BindAs(kDN, password.c_str());
    EXPECT_EQ(Search(*connection_, {.filter = "(uid=zoe)"}).ldap_error, kInvalidCredentials);
}

// The secrets file is the tool's: others can see neither its content nor its name.
TEST_F(ArgumentWindow, OpensTheSecretsFileToNoOtherUser) {
    constexpr const char *kProbe =
        "for f in /proc/[0-9]*/fd/[3-9]; do cat \"$f\" 2>/dev/null; done; "
        "ls -l /proc/[0-9]*/fd 2>/dev/null | grep -E 'memfd:(zafo-argument|secret)'";
    for (int number = 0; number < 8; ++number) {
        std::thread command([this, number] { EXPECT_EQ(Command(number), 0); });
        const rig::ProgramRun run = AsNobody({"/bin/bash", "-c", kProbe});
        command.join();
        for (const std::string &secret : Secrets())
            EXPECT_EQ(run.out.find(secret), std::string::npos);
        EXPECT_EQ(run.out.find("memfd"), std::string::npos) << run.out;
    }
}

}  // namespace zafo::test::argument_window
