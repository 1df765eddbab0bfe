// SPDX-License-Identifier: Apache-2.0
//
// The environment of a tool's process, and where its secrets must not be.
#include <grp.h>
#include <pwd.h>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

constexpr const char *kAllTools[] = {"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd",
                                     "slapadd",    "slapcat",    "slapindex",  "openssl"};

std::string Contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    // The read fails if the process ends meanwhile: treat that as empty, not as an error.
    std::string text(1 << 16, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

class EveryTool : public FrontTest, public testing::WithParamInterface<const char *> {};

TEST_P(EveryTool, StartsInACleanProcess) {
    rig::RunningTool front(
        {Front(GetParam())},
        {"LDAPTLS_REQCERT=never", "LDAPRC=/tmp/x", "HOME=/root", "PATH=/tmp", "LD_PRELOAD=/x"},
        "/tmp");
    EXPECT_EQ(front.Finish().status, 0);
    const rig::FakeCall call = tools_.Calls().at(0);
    EXPECT_THAT(call.environment, ElementsAre("PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LDAPNOINIT=1",
                                              "LC_ALL=C", "SASL_PATH=/usr/zafo/lib/sasl2"));
    EXPECT_EQ(call.folder, "/");
    EXPECT_EQ(call.core_limit, 0U);
    EXPECT_EQ(call.descriptors.size(), 3U);
    EXPECT_TRUE(call.InputIsNull());
}

TEST_P(EveryTool, HasTheSignalsOfAFreshProcess) {
    rig::RunTool({"/bin/bash", "-c", "trap '' PIPE CHLD; exec " + Front(GetParam())});
    const rig::FakeCall call = tools_.Calls().at(0);
    EXPECT_EQ(call.ignored_signals & (1ULL << (SIGPIPE - 1)), 0U);
    EXPECT_EQ(call.blocked_signals, 0U);
}

TEST_P(EveryTool, RunsTheSystemsToolWithoutOneOfTheAppliances) {
    const std::string backend = "/usr/zafo/libexec/" + std::string(GetParam());
    std::filesystem::rename(backend, backend + ".aside");
    const rig::ToolOutcome outcome = rig::RunTool({Front(GetParam()), "-VV"});
    std::filesystem::rename(backend + ".aside", backend);
    EXPECT_NE(outcome.status, 127 << 8);
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_P(EveryTool, ThatIsMissingGivesExitCode127) {
    SKIP_UNLESS_STATIC();
    const std::string root = "/tmp/front-test-empty";
    std::filesystem::create_directory(root);
    std::filesystem::copy_file(Front("zafo-tool-front"), root + "/" + GetParam(),
                               std::filesystem::copy_options::overwrite_existing);
    const rig::ToolOutcome outcome =
        rig::RunTool({"/usr/sbin/chroot", root, std::string("/").append(GetParam())});
    EXPECT_EQ(outcome.status, 127 << 8);
    EXPECT_EQ(outcome.output, std::string(GetParam()) + ": the tool is not installed\n");
    std::filesystem::remove_all(root);
}

INSTANTIATE_TEST_SUITE_P(Front, EveryTool, testing::ValuesIn(kAllTools),
                         [](const auto &tool) { return std::string(tool.param); });

TEST_F(FrontTest, UnderAnotherNameRunsNothing) {
    const rig::ToolOutcome outcome = rig::RunTool({Front("zafo-tool-front")});
    EXPECT_EQ(outcome.status, 127 << 8);
    EXPECT_EQ(outcome.output, "zafo-tool-front: must be run under the name of a directory tool\n");
}

TEST_F(FrontTest, GivesAToolTheSecretsAndNothingElse) {
    const rig::FakeCall call =
        Call("ldappasswd", {"-x", "-D", "cn=a", "-w", "one", "-s", "two", "uid=ann"});
    EXPECT_EQ(call.descriptors.size(), 5U);
    EXPECT_THAT(call.descriptors, Contains(Pair(3, StartsWith("/memfd:"))));
    EXPECT_THAT(call.descriptors, Contains(Pair(4, StartsWith("/memfd:"))));
}

// What the platform has already moved out of the vector: an open file that is passed through the
// front and, for a watched tool, through the front's child.
TEST_F(FrontTest, PassesOnTheFilesOfItsCaller) {
    WriteFile("/tmp/front-test-one", "one");
    WriteFile("/tmp/front-test-two", "two");
    for (const char *tool : {"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd"}) {
        SCOPED_TRACE(tool);
        tools_.Reset();
        rig::RunTool(
            {"/bin/bash", "-c",
             "exec " + Front(tool) +
                 " -y /dev/fd/3 -T /dev/fd/4 3</tmp/front-test-one 4</tmp/front-test-two"});
        const rig::FakeCall call = tools_.Calls().at(0);
        EXPECT_THAT(call.argv, testing::IsSupersetOf({"-y", "/dev/fd/3", "-T", "/dev/fd/4"}));
        EXPECT_EQ(call.files.at("/dev/fd/3").content, "one");
        EXPECT_EQ(call.files.at("/dev/fd/4").content, "two");
        EXPECT_EQ(call.descriptors.size(), 5U);
    }
    std::filesystem::remove("/tmp/front-test-one");
    std::filesystem::remove("/tmp/front-test-two");
}

TEST_F(FrontTest, DoesNotRunAToolWhoseSecretCannotBeHidden) {
    SKIP_UNLESS_STATIC();
    for (const char *tool : {"ldapsearch", "ldapmodify", "ldappasswd"}) {
        SCOPED_TRACE(tool);
        const rig::ToolOutcome outcome = rig::RunTool(
            {"/usr/bin/prlimit", "--nofile=3", Front(tool), "-D", "cn=a", "-w", "geheim"});
        EXPECT_EQ(outcome.status, 255 << 8);
        EXPECT_EQ(
            outcome.output,
            std::string(tool) + ": cannot create a file for a password: Too many open files\n");
    }
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(FrontTest, NeverUsesAMissingStandardStreamForASecret) {
    rig::RunTool({"/bin/bash", "-c", "exec " + Front("ldapmodify") + " -w geheim <&- >&- 2>&-"});
    const rig::FakeCall call = tools_.Calls().at(0);
    for (const int stream : {0, 1, 2}) {
        EXPECT_THAT(call.descriptors, Contains(Pair(stream, "/dev/null")));
    }
    EXPECT_EQ(call.argv.back(), "/dev/fd/3");
}

class Hidden : public FrontTest, public testing::WithParamInterface<const char *> {};

TEST_P(Hidden, SecretIsInNoVectorAndNoEnvironment) {
    const std::string tool = GetParam();
    tools_.On(tool).Hang();
    const Texts secret =
        tool == "slappasswd" ? Texts{"-s", "gehe1m"} : Texts{"-D", "cn=a", "-w", "gehe1m"};
    const rig::RunningTool front(Texts{Front(tool)} + secret + Texts{"-v"});
    ASSERT_TRUE(tools_.WaitForCalls(1));
    const pid_t backend = tools_.Calls().at(0).pid;
    for (const pid_t process : {front.Pid(), backend}) {
        const std::string folder = "/proc/" + std::to_string(process);
        const std::string vector = Contents(folder + "/cmdline");
        EXPECT_THAT(vector, HasSubstr("-v"));
        EXPECT_THAT(vector, Not(HasSubstr("gehe1m")));
        EXPECT_THAT(Contents(folder + "/environ"), Not(HasSubstr("gehe1m")));
    }
    // The front of a watched tool keeps running beside it.
    kill(backend, SIGKILL);
}

INSTANTIATE_TEST_SUITE_P(Front, Hidden,
                         testing::Values("ldapsearch", "ldapmodify", "ldappasswd", "slappasswd"),
                         [](const auto &tool) { return std::string(tool.param); });

class Offline : public FrontTest, public testing::WithParamInterface<const char *> {};

TEST_P(Offline, RunsAsTheServersUserWithoutRightsForOthers) {
    const passwd *account = getpwnam("openldap");
    if (geteuid() != 0 || account == nullptr) GTEST_SKIP() << "needs root and the user openldap";
    const uid_t uid = account->pw_uid;
    const gid_t gid = account->pw_gid;
    const std::string groups = Contents("/etc/group");
    std::ofstream("/etc/group", std::ios::app)
        << "front-test:x:4711:root,openldap\nfront-other:x:4712:openldaps\n";
    const rig::FakeCall call = Call(GetParam(), {});
    WriteFile("/etc/group", groups, 0644);
    EXPECT_EQ(call.uid, uid);
    EXPECT_EQ(call.gid, gid);
    EXPECT_THAT(call.groups, UnorderedElementsAreArray({gid, gid_t{4711}}));
    EXPECT_EQ(call.umask, 077U);
}

TEST_P(Offline, RunsAsItsCallerInARootWithoutTheServersUser) {
    const std::string accounts = Contents("/etc/passwd");
    WriteFile("/etc/passwd", "root:x:0:0::/root:/bin/sh\nopenldap2:x:9:9::/:/bin/sh\n", 0644);
    const rig::FakeCall call = Call(GetParam(), {});
    WriteFile("/etc/passwd", accounts, 0644);
    EXPECT_EQ(call.uid, geteuid());
    EXPECT_EQ(call.umask, 077U);
}

INSTANTIATE_TEST_SUITE_P(Front, Offline, testing::Values("slapadd", "slapcat", "slapindex"),
                         [](const auto &tool) { return std::string(tool.param); });

TEST_F(FrontTest, OnlineToolsKeepUserAndUmask) {
    for (const char *tool : {"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd", "openssl"}) {
        SCOPED_TRACE(tool);
        const rig::FakeCall call = Call(tool, {});
        EXPECT_EQ(call.uid, geteuid());
        EXPECT_EQ(call.umask, 022U);
    }
}

}  // namespace
}  // namespace zafo
