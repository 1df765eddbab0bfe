// SPDX-License-Identifier: Apache-2.0
//
// Where a bind password must never appear: in the process list and in environments that others can
// read, in the log (with the debug switch on), in "/tmp". The search and modify vectors carry it to
// the platform, which removes it before it starts the tool front.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"
#include "tests/integration/listener.h"
#include "tests/rig/cipher.h"
#include "tests/rig/system_log.h"

namespace zafo::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

// Where the secret appeared: the process, its file in /proc and its program.
struct Sighting {
    std::string process;
    std::string file;
    std::string program;
};

std::ostream &operator<<(std::ostream &out, const Sighting &sighting) {
    return out << sighting.file << " of " << sighting.program << " (process " << sighting.process
               << ")";
}

std::string ProgramOf(const fs::path &process) {
    std::error_code gone;
    return fs::read_symlink(process / "exe", gone).string();
}

// Examines every process once.
std::vector<Sighting> LookForSecret(const std::string &secret) {
    std::vector<Sighting> sightings;
    for (const auto &process : fs::directory_iterator("/proc")) {
        const std::string name = process.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        for (const char *file : {"cmdline", "environ"}) {
            if (FileContent(process.path() / file).find(secret) == std::string::npos) continue;
            sightings.push_back({name, file, ProgramOf(process.path())});
        }
    }
    return sightings;
}

class Observer {
  public:
    explicit Observer(std::string secret)
        : thread_([this, secret = std::move(secret)] {
              while (!stop_) {
                  for (Sighting &sighting : LookForSecret(secret))
                      seen_.push_back(std::move(sighting));
                  ++looks_;
              }
          }) {}
    ~Observer() {
        if (thread_.joinable()) Stop();
    }
    Observer(const Observer &) = delete;
    Observer &operator=(const Observer &) = delete;

    std::vector<Sighting> Stop() {
        stop_ = true;
        thread_.join();
        return seen_;
    }
    int Looks() const { return looks_; }

  private:
    std::atomic<bool> stop_{false};
    std::atomic<int> looks_{0};
    std::vector<Sighting> seen_;
    std::thread thread_;
};

int ChangeDescription(const ZAFOLDAP_HOST *host, const char *text) {
    ZAFOLDAP_LDIF ldif;
    if (ZAFOLDAPLdifInit(&ldif, nullptr) != 0) return -1;
    ZAFOLDAPLdifTargetDN(&ldif, rig::kReaderDN);
    ZAFOLDAPLdifChangeType(&ldif, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif, "description", "%s", text);
    return ZAFOLDAPModify(host, &ldif, 0);
}

const std::string &Password() {
    return ExampleDirectory::Get().Password();
}

TEST(Secrets, TheObserverSeesAPasswordInAnArgument) {
    SilentServer server;
    const std::string secret = "a-secret-in-plain-sight";
    std::thread plain([&] {
        rig::RunProgram({"timeout", "1", "/usr/bin/ldapsearch", "-x", "-H",
                         "ldap://" + server.Uri(), "-D", "cn=x", "-w", secret});
    });
    for (int wait = 0; wait < 200 && server.Heard().empty(); ++wait)
        usleep(10'000);
    // OpenLDAP's own clients overwrite the value late or not at all; "timeout" keeps it.
    EXPECT_THAT(LookForSecret(secret), Not(IsEmpty()));
    plain.join();
}

class SecretOfRunningTool : public testing::TestWithParam<int> {};

// The server never answers, so this examines running tools.
TEST_P(SecretOfRunningTool, IsInNoCommandLineAndNoEnvironment) {
    WriteFile("/usr/zafo/etc/tools.conf", "timeout 1\nnetwork_timeout 1\n");
    const std::string &password = Password();
    SilentServer server;
    const Connection connection(server.Uri(), GetParam());
    for (const bool change : {false, true}) {
        SCOPED_TRACE(change ? "ldapmodify" : "ldapsearch");
        const size_t heard = server.Heard().size();
        std::thread tool([&] {
            if (change) {
                ChangeDescription(connection, "never");
            } else {
                Search(connection, {});
            }
        });
        for (int wait = 0; wait < 200 && server.Heard().size() == heard; ++wait)
            usleep(10'000);
        EXPECT_GT(server.Heard().size(), heard);
        EXPECT_THAT(ProcessesRunning(change ? "ldapmodify" : "ldapsearch"), Not(IsEmpty()));
        EXPECT_THAT(LookForSecret(password), IsEmpty());
        tool.join();
    }
    fs::remove("/usr/zafo/etc/tools.conf");
}

INSTANTIATE_TEST_SUITE_P(SSLTypes, SecretOfRunningTool, testing::Values(0, 1, 2),
                         [](const auto &row) { return "Type" + std::to_string(row.param); });

TEST(Secrets, ShowInNoProcessThatTheLibraryStarts) {
    constexpr int kRuns = 150;
    Connection connection("localhost", 2);
    Observer observer(Password());
    for (int run = 0; run < kRuns; ++run) {
        if (run % 5 == 0) {
            EXPECT_EQ(ChangeDescription(connection, "seen by everyone"), 0);
        } else {
            EXPECT_EQ(Search(connection, {.filter = "(uid=reader)"}).result, 0);
        }
    }
    EXPECT_THAT(observer.Stop(), IsEmpty());
    EXPECT_GT(observer.Looks(), kRuns);
}

TEST(Secrets, AreStarsInTheDebugLog) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1);
    rig::SystemLog &log = rig::SystemLog::Get();
    log.Clear();
    Connection connection("localhost", 2);
    Search(connection, {.filter = "(uid=reader)"});
    ChangeDescription(connection, "logged");
    connection.BindAs(ExampleDirectory::Get().BindDN(), "wrong-but-secret");
    Search(connection, {});
    ChangeDescription(connection, "not applied");
    connection.BindAs(ExampleDirectory::Get().BindDN(), Password().c_str());
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(connection, "office"), 0);
    ZAFOLDAP_HOST loaded;
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&loaded, "office"), 1);
    ZAFOLDAPHostFree(&loaded);

    const std::vector<std::string> messages = log.Messages();
    EXPECT_THAT(messages, Contains(testing::AllOf(HasSubstr("/ldapsearch"), HasSubstr("'****'"))));
    EXPECT_THAT(messages, Contains(testing::AllOf(HasSubstr("/ldapmodify"), HasSubstr("'****'"))));
    EXPECT_THAT(messages, Each(Not(HasSubstr(Password()))));
    EXPECT_THAT(messages, Each(Not(HasSubstr("wrong-but-secret"))));
    fs::remove("/usr/zafo/etc/private/ldapbrowser.conf");
}

std::vector<std::string> FilesHolding(const std::string &secret, const char *folder) {
    std::vector<std::string> files;
    std::error_code gone;
    for (const auto &item : fs::recursive_directory_iterator(folder, gone)) {
        if (!item.is_regular_file(gone)) continue;
        if (FileContent(item.path()).find(secret) != std::string::npos)
            files.push_back(item.path());
    }
    return files;
}

// The switch keeps change files for inspection; only their owner may read them.
TEST(Secrets, AreInNoFileThatTheLibraryLeavesInTmp) {
    Connection connection("localhost", 2);
    ASSERT_EQ(ChangeDescription(connection, "kept for inspection"), 0);
    Search(connection, {.filter = "(uid=reader)"});
    size_t kept = 0;
    for (const auto &item : fs::directory_iterator("/tmp")) {
        if (item.path().extension() != ".ldif") continue;
        ++kept;
        struct stat status {};
        ASSERT_EQ(stat(item.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U) << item.path();
    }
    EXPECT_GT(kept, 0U);
    for (const char *folder : {"/tmp", "/var/tmp", "/dev/shm"}) {
        EXPECT_THAT(FilesHolding(Password(), folder), IsEmpty()) << folder;
    }
}

}  // namespace
}  // namespace zafo::test
