// SPDX-License-Identifier: Apache-2.0
//
// The debug switch makes root's programs log new passwords. Another account tries to set it.
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/attack/stranger.h"
#include "tests/rig/waiting.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/server_fixture.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;
using rig::Json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kMarker = "/tmp/zafoldap_debug";
constexpr const char *kLog = "/var/log/messages";
constexpr const char *kNewPassword = "Brand-new-secret-77";

// Records whether the machine itself protects shared folders; the private root has its settings.
void RecordMachine() {
    for (const char *name : {"symlinks", "hardlinks", "fifos", "regular"}) {
        std::string value;
        std::ifstream("/proc/sys/fs/protected_" + std::string(name)) >> value;
        testing::Test::RecordProperty(name, value);
    }
}

class DebugSwitchAttack : public rig::AccountCommand {
  protected:
    DebugSwitchAttack() {
        RecordMachine();
        EXPECT_EQ(rig::Line("user add anna --password-stdin").exit_code, 0);
    }
    ~DebugSwitchAttack() override {
        fs::remove_all(kMarker);
        fs::remove("/tmp/others");
    }

    // The system log of a password change by root.
    static std::string LogOfANewPassword() {
        EXPECT_EQ(rig::Line("user passwd anna --password-stdin", kNewPassword).exit_code, 0);
        static int number = 0;
        const std::string end = "end of round " + std::to_string(++number);
        syslog(LOG_ERR, "%s", end.c_str());
        std::string log;
        EXPECT_TRUE(rig::Within(std::chrono::seconds(10), [&] {
            log = rig::ReadFile(kLog);
            return log.find(end) != std::string::npos;
        }));
        const size_t begin = log.rfind("end of round " + std::to_string(number - 1) + "\n");
        return begin == std::string::npos ? log : log.substr(begin);
    }
};

struct Plant {
    const char *name;
    const char *command;  // for the stranger's shell
};

class MarkerOfAnotherAccount : public DebugSwitchAttack,
                               public testing::WithParamInterface<Plant> {};

TEST_P(MarkerOfAnotherAccount, DoesNotMakeRootLogPasswords) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    std::ofstream("/tmp/others") << "root's, and readable by everybody\n";
    chmod("/tmp/others", 0644);
    const rig::ProgramRun planted = AsNobody({"sh", "-c", GetParam().command});
    if (planted.exit_code != 0) GTEST_SKIP() << "this kernel does not allow it: " << planted.err;
    EXPECT_THAT(LogOfANewPassword(), Not(HasSubstr(kNewPassword)));
}

INSTANTIATE_TEST_SUITE_P(
    Plants, MarkerOfAnotherAccount,
    testing::Values(Plant{"File", "touch /tmp/zafoldap_debug"},
                    Plant{"LinkToAFileOfRoots", "ln -s /tmp/others /tmp/zafoldap_debug"},
                    Plant{"LinkToTheLog", "ln -s /var/log/messages /tmp/zafoldap_debug"},
                    Plant{"HardLinkToAFileOfRoots", "ln /tmp/others /tmp/zafoldap_debug"},
                    Plant{"Folder", "mkdir /tmp/zafoldap_debug"},
                    Plant{"Fifo", "mkfifo -m 666 /tmp/zafoldap_debug"}),
    [](const auto &test) { return test.param.name; });

// What the stranger can do where the kernel does not protect hard links, done on his behalf.
TEST_F(DebugSwitchAttack, HardLinkToRootsFileIsNotRootsMarker) {
    std::ofstream("/tmp/others") << "root's\n";
    fs::create_hard_link("/tmp/others", kMarker);
    EXPECT_THAT(LogOfANewPassword(), Not(HasSubstr(kNewPassword)));
}

TEST_F(DebugSwitchAttack, RootsFileRenamedByAStrangerInAnUnprotectedFolderIsNotAMarker) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    std::ofstream("/tmp/others") << "root's\n";
    chmod("/tmp", 0777);
    const int renamed = AsNobody({"mv", "/tmp/others", kMarker}).exit_code;
    const std::string log = LogOfANewPassword();
    chmod("/tmp", 01777);
    EXPECT_EQ(renamed, 0);
    EXPECT_THAT(log, Not(HasSubstr(kNewPassword)));
}

TEST_F(DebugSwitchAttack, OnlyRootReadsTheLogOfItsOwnSwitchEvenAfterRotation) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    rig::WriteFile(kMarker, "");
    EXPECT_THAT(LogOfANewPassword(), HasSubstr(kNewPassword)) << "root's own marker counts";
    EXPECT_THAT(AsNobody({"cat", kLog}).out, Not(HasSubstr(kNewPassword)));

    // Like a rotation: the log daemon creates a new file.
    fs::rename(kLog, "/var/log/messages.0");
    ASSERT_TRUE(rig::Within(std::chrono::seconds(20), [&] {
        syslog(LOG_ERR, "after the rotation");
        return fs::exists(kLog);
    }));
    EXPECT_THAT(LogOfANewPassword(), HasSubstr(kNewPassword));
    EXPECT_THAT(AsNobody({"sh", "-c", "cat /var/log/messages*"}).out, Not(HasSubstr(kNewPassword)));
    struct stat status {};
    stat(kLog, &status);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(DebugSwitchAttack, StrangerCannotRemoveRootsMarkerAndPutHisOwnThere) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    rig::WriteFile(kMarker, "");
    EXPECT_NE(AsNobody({"sh", "-c", "rm -f /tmp/zafoldap_debug"}).exit_code, 0);
    EXPECT_NE(AsNobody({"mv", kMarker, "/tmp/gone"}).exit_code, 0);
    EXPECT_TRUE(fs::exists(kMarker));
}

// --- zafoldapserver check ---------------------------------------------------

class DebugSwitchCheck : public testing::Test {
  protected:
    ~DebugSwitchCheck() override {
        fs::remove_all(kMarker);
        chmod(kLog, 0600);
    }
    // No server is set up here, which is an error in itself.
    static Json Found() { return rig::Finding(rig::ServerLineJson("check", 1), "debug-switch"); }
};

TEST_F(DebugSwitchCheck, IsFineWithoutAMarker) {
    EXPECT_EQ(Found()["severity"], "ok");
}

TEST_F(DebugSwitchCheck, WarnsOfAnIneffectiveMarkerAndNamesItsOwner) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const std::pair<const char *, const char *> kPlants[] = {
        {"touch /tmp/zafoldap_debug", "a file of nobody"},
        {"ln -s /etc/passwd /tmp/zafoldap_debug", "a link of nobody"},
        {"mkdir -p /tmp/zafoldap_debug/deep", "a folder of nobody"},
        {"mkfifo /tmp/zafoldap_debug", "a FIFO of nobody"}};
    for (const auto &[command, what] : kPlants) {
        SCOPED_TRACE(command);
        ASSERT_EQ(AsNobody({"sh", "-c", command}).exit_code, 0);
        const Json found = Found();
        EXPECT_EQ(found["severity"], "warning");
        EXPECT_THAT(found["cause"].get<std::string>(),
                    AllOf(HasSubstr("it is off"), HasSubstr(what)));
        // The printed fix is a command that works verbatim.
        EXPECT_EQ(rig::RunProgram({"sh", "-c", found["fix"].get<std::string>()}).exit_code, 0);
        EXPECT_EQ(Found()["severity"], "ok");
    }
}

TEST_F(DebugSwitchCheck, WarnsWhileItIsOnAndIfOthersCanReadTheLog) {
    rig::WriteFile(kMarker, "");
    Json found = Found();
    EXPECT_EQ(found["severity"], "warning");
    EXPECT_THAT(found["cause"].get<std::string>(),
                AllOf(HasSubstr("passwords go to the system log"), Not(HasSubstr("others"))));
    EXPECT_EQ(found["fix"], "rm /tmp/zafoldap_debug");

    chmod(kLog, 0644);
    found = Found();
    EXPECT_THAT(found["cause"].get<std::string>(), HasSubstr("others can read /var/log/messages"));
    EXPECT_EQ(rig::RunProgram({"sh", "-c", found["fix"].get<std::string>()}).exit_code, 0);
    struct stat status {};
    stat(kLog, &status);
    EXPECT_EQ(status.st_mode & 0007, 0U);
    EXPECT_EQ(Found()["severity"], "ok");
}

}  // namespace
}  // namespace zafo::test
