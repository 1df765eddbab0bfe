// SPDX-License-Identifier: Apache-2.0
//
// The server's start and stop as root: what can be done through the caller's environment, or by the
// server's own user, who owns the data folder.
#include "platform/service.h"

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/process.h"
#include "tests/attack/stranger.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr const char *kStartProgram = "/usr/zafo/libexec/ldap-server-start";
constexpr const char *kMarkProgram = "/usr/zafo/libexec/ldap-server-mark";

// --- The environment ------------------------------------------------------------------

class Environment : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        WriteFile(kScript, "echo \"$0\" >>/tmp/evil.ran\n");
    }
    void TearDown() override { fs::remove("/tmp/evil.ran"); }

    // With every variable set that makes bash execute something.
    static rig::ProgramRun Run(const std::vector<std::string> &argv) {
        std::vector<std::string> words{"env",
                                       std::string("BASH_ENV=") + kScript,
                                       std::string("ENV=") + kScript,
                                       "BASH_FUNC_rm%%=() { . /tmp/evil.sh; }",
                                       "BASH_FUNC_mkdir%%=() { . /tmp/evil.sh; }",
                                       "BASH_FUNC_setpriv%%=() { . /tmp/evil.sh; }"};
        words.insert(words.end(), argv.begin(), argv.end());
        return rig::RunProgram(words);
    }
    static std::string Ran() {
        return fs::exists("/tmp/evil.ran") ? FileContent("/tmp/evil.ran") : "";
    }

    static constexpr const char *kScript = "/tmp/evil.sh";
};

TEST_F(Environment, OfTheCallerReachesNoProgramOfTheService) {
    ASSERT_EQ(Enable(settings_), 0);
    for (const char *command : {"stop", "start", "restart", "stop"}) {
        EXPECT_EQ(Run({"/usr/zafo/bin/zafoldapserver", command}).exit_code, 0) << command;
        EXPECT_EQ(Ran(), "") << command;
    }
}

TEST_F(Environment, OfTheCallerIsNotRunByTheServicesScripts) {
    EXPECT_EQ(Run({kStartProgram, "--certificates-only"}).exit_code, 0);
    EXPECT_EQ(Run({kMarkProgram}).exit_code, 0);
    EXPECT_EQ(Ran(), "");
}

// --- The data folder ------------------------------------------------------------------

constexpr const char *kVictim = "/etc/victim";
constexpr const char *kMissing = "/etc/missing";

// The server's user, and a stopped server with one entry.
class DataFolder : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        if (!HasServerUser()) GTEST_SKIP() << "the server has no user of its own in this root";
        const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
        ASSERT_EQ(ZAFOLDAPServerConfSet(&record), 0);
        ASSERT_EQ(ZAFOLDAPServerACLConfGen(&record), 0);
        ASSERT_EQ(rig::RunProgram({"/usr/zafo/bin/slapadd"},
                                  "dn: " + settings_.suffix + "\nobjectClass: domain\ndc: home\n")
                      .exit_code,
                  0);
        WriteFile(kVictim, "precious\n");
        fs::permissions(kVictim, fs::perms(0600));
    }
    void TearDown() override {
        StopPlanting();
        fs::remove(kVictim);
        fs::remove(kMissing);
    }

    static std::vector<std::string> AsServer(const std::string &script) {
        return {"setpriv",       "--reuid", "openldap",  "--regid", "openldap",
                "--init-groups", "--",      "/bin/bash", "-c",      script};
    }
    static rig::ProgramRun RunAsServer(const std::string &script) {
        return rig::RunProgram(AsServer(script));
    }

    // Creates a link there again and again, as soon as there is none.
    void KeepPlanting(const std::string &target, const std::string &link) {
        planter_ = fork();
        ASSERT_GE(planter_, 0);
        if (planter_ != 0) return;
        const passwd *user = getpwnam("openldap");
        if (setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0) _exit(1);
        for (;;)
            if (symlink(target.c_str(), link.c_str()) != 0) usleep(20);
    }
    void StopPlanting() {
        if (planter_ <= 0) return;
        kill(planter_, SIGKILL);
        waitpid(planter_, nullptr, 0);
        planter_ = 0;
    }

    static void ExpectVictimIsWhole() {
        struct stat facts {};
        ASSERT_EQ(stat(kVictim, &facts), 0);
        EXPECT_EQ(facts.st_uid, 0U);
        EXPECT_EQ(facts.st_mode & 07777, 0600U);
        EXPECT_EQ(FileContent(kVictim), "precious\n");
    }

    pid_t planter_ = 0;
};

TEST_F(DataFolder, LinkForTheMarkerMakesNoFileElsewhere) {
    KeepPlanting(kMissing, kMarker);
    for (int i = 0; i < 20 && !fs::exists(kMissing); ++i) {
        fs::remove(kMarker);
        rig::RunProgram({kMarkProgram});
    }
    StopPlanting();
    EXPECT_FALSE(fs::exists(kMissing));
}

// In the window between the removal of the old database and the copy.
TEST_F(DataFolder, LinkForItsSettingsDoesNotLeadTheirCopyElsewhere) {
    const std::string link = std::string(kDatabase) + "/DB_CONFIG";
    ASSERT_EQ(RunAsServer("ln -s " + std::string(kVictim) + " " + link).exit_code, 0);
    EXPECT_NE(QLIBCExec("/bin/cp", "/usr/zafo/etc.defaults/openldap/data/DB_CONFIG",
                        "/usr/zafo/etc/openldap/data//", nullptr, nullptr),
              0);
    ExpectVictimIsWhole();
}

TEST_F(DataFolder, LinkThatIsPutThereWhileTheDatabaseIsResetOverwritesNothing) {
    const std::string link = std::string(kDatabase) + "/DB_CONFIG";
    KeepPlanting(kVictim, link);
    for (int i = 0; i < 20; ++i) {
        WriteFile(kConfiguration, "database mdb\n");
        WriteFile(kAccessRules, "");
        ZAFOLDAPServerDBReset();
    }
    StopPlanting();
    ExpectVictimIsWhole();
}

TEST_F(DataFolder, SettingsAreStillCopiedWhenItIsReset) {
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_TRUE(fs::exists(std::string(kDatabase) + "/DB_CONFIG"));
}

// Simulates, as root, a kernel that lets everyone link to any file.
TEST_F(DataFolder, LinksInItGiveNothingElseToTheServer) {
    const std::string data = kDatabase;
    ASSERT_EQ(link(kVictim, (data + "/hard").c_str()), 0);
    ASSERT_EQ(
        RunAsServer("mkdir " + data + "/deep && ln -s " + kVictim + " " + data + "/soft").exit_code,
        0);
    ASSERT_EQ(link(kVictim, (data + "/deep/hard").c_str()), 0);
    EXPECT_EQ(QLIBServiceStart(kService, 0), 0);
    ExpectVictimIsWhole();
    EXPECT_EQ(QLIBServiceStop(kService, 0), 0);
    ExpectVictimIsWhole();
    fs::remove(data + "/hard");
    fs::remove(data + "/deep/hard");
}

TEST_F(DataFolder, FileThatRootHasLeftInItIsGivenToTheServer) {
    ASSERT_EQ(chown((std::string(kDatabase) + "/data.mdb").c_str(), 0, 0), 0);
    EXPECT_EQ(QLIBServiceStart(kService, 0), 0);
    struct stat facts {};
    ASSERT_EQ(stat((std::string(kDatabase) + "/data.mdb").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, getpwnam("openldap")->pw_uid);
}

}  // namespace
}  // namespace zafo::test
