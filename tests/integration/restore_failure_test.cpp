// SPDX-License-Identifier: Apache-2.0
//
// A restore that fails after it has touched the server: the old entries are served again.
#include <signal.h>

#include <filesystem>
#include <random>

#include "platform/service.h"
#include "tests/integration/restore_fixture.h"
#include "tests/rig/running_tool.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr const char *kStartProgram = "/usr/zafo/libexec/ldap-server-start";
constexpr const char *kSearch = "/usr/zafo/bin/ldapsearch";
constexpr const char *kSlapcat = "/usr/zafo/bin/slapcat";

class FailedRestore : public UnchangedTest {};

TEST_F(FailedRestore, BecauseTheServerDoesNotStopChangesNothing) {
    const ServiceSettings settings("stop_seconds = 1\n");
    const int pid = ServerPid();
    kill(pid, SIGSTOP);
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_THAT(run.err, HasSubstr("does not stop"));
    EXPECT_EQ(kill(pid, 0), 0) << "it was killed";
    ExpectNothingLeft();
    // It has been asked to end, and does so when it can.
    kill(pid, SIGCONT);
    EXPECT_EQ(QLIBServiceStop(kService, 0), 0);
    ASSERT_EQ(QLIBServiceStart(kService, 0), 0);
    ExpectAsBefore();
}

// The start of the restored server comes first; the next one must succeed.
constexpr const char *kFirstStartFails = R"(
[ -e /tmp/started ] && exec @REAL@ "$@"
: >/tmp/started
)";

struct StartRow {
    const char *name;
    const char *first_start;
};

const StartRow kStarts[] = {
    {"does not start", "exit 1\n"},
    {"dies after its start", "@REAL@ \"$@\" && kill -KILL \"$(</var/run/slapd.pid)\"\nexit 0\n"},
};

TEST_F(FailedRestore, BecauseTheRestoredServerDoesNotServeBringsTheOldEntriesBack) {
    // The start waits for the pid file of a dead server.
    for (const StartRow &row : kStarts) {
        SCOPED_TRACE(row.name);
        fs::remove("/tmp/started");
        // An automatic restart would succeed.
        const ServiceSettings once("restart = no\n");
        const Substitute start(kStartProgram, std::string(kFirstStartFails) + row.first_start);
        const rig::ProgramRun run = Restore(Backup());
        EXPECT_EQ(run.exit_code, 5) << run.err;
        EXPECT_TRUE(fs::exists("/tmp/started"));
        ExpectAsBefore();
    }
}

TEST_F(FailedRestore, BecauseTheRestoredServerIsSilentBringsTheOldEntriesBack) {
    const Substitute search(kSearch, "exit 255\n");
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_THAT(run.err, HasSubstr("does not answer"));
    ExpectAsBefore();
}

// With access rules that hide everything, the database itself is checked.
TEST_F(FailedRestore, IsNotInferredFromAServerThatHidesEntriesFromAnonymousClients) {
    const Substitute search(kSearch, "echo 'No such object (32)' >&2\nexit 32\n");
    EXPECT_EQ(Restore(Backup()).exit_code, 0);
    ExpectServes(Restored());
}

TEST_F(FailedRestore, BecauseNothingIsFoundBringsTheOldEntriesBack) {
    const Substitute search(kSearch, "exit 32\n");
    const Substitute slapcat(
        kSlapcat, "[[ $* != *ldap:///* || $* == *loading.conf* ]] && exec @REAL@ \"$@\"\nexit 1\n");
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_THAT(run.err, HasSubstr("dc=home,dc=example"));
    ExpectAsBefore();
}

TEST_F(FailedRestore, OfAStoppedServerLeavesItStopped) {
    ASSERT_EQ(QLIBServiceStop(kService, 0), 0);
    const Substitute slapcat(
        kSlapcat, "[[ $* != *ldap:///* || $* == *loading.conf* ]] && exec @REAL@ \"$@\"\nexit 1\n");
    EXPECT_EQ(Restore(Backup()).exit_code, 5);
    EXPECT_EQ(ServerPid(), 0);
    ExpectHolds(entries_);
    ExpectNothingLeft();
}

// Entries are lost on the way into the database, and slapadd does not report it.
TEST_F(FailedRestore, BecauseEntriesAreMissingInTheLoadedDatabaseChangesNothing) {
    const int pid = ServerPid();
    const Substitute slapadd("/usr/zafo/bin/slapadd",
                             "head -n 40 | exec @REAL@ \"$@\"\ncat >/dev/null\n");
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 8) << run.err;
    EXPECT_THAT(run.err, HasSubstr("were loaded"));
    EXPECT_EQ(ServerPid(), pid);
    ExpectAsBefore();
}

TEST_F(FailedRestore, BecauseALoaderDiesChangesNothing) {
    const int pid = ServerPid();
    for (const char *script : {"kill -SEGV $$\n", "exit 3\n", "head -c 100 >/dev/null\nexit 1\n"}) {
        SCOPED_TRACE(script);
        const Substitute slapadd("/usr/zafo/bin/slapadd", script);
        EXPECT_EQ(Restore(Backup()).exit_code, 3);
    }
    EXPECT_EQ(ServerPid(), pid);
    ExpectAsBefore();
}

TEST_F(FailedRestore, BecauseTheDatabaseStaysInUseBringsTheServerBack) {
    // A process that works on the files beneath the server.
    rig::RunningTool user({"/usr/bin/sleep", "600"});
    const Substitute mark(
        "/usr/zafo/libexec/ldap-server-mark",
        "exec 7<>/usr/zafo/etc/openldap/data/data.mdb\n"
        "[ -e /tmp/user ] || { : >/tmp/user; sleep 40 </dev/null >/dev/null 2>&1 & }\n");
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_THAT(run.err, HasSubstr("in use by process"));
    EXPECT_THAT(run.err, HasSubstr("sleep"));
    ExpectAsBefore();
}

// More than a pipe holds, and incompressible.
std::string LargeBackup(const std::string &name, unsigned seed) {
    std::vector<Member> members = MembersOf(MakeBackup());
    std::string &entries = Named(members, "data/000001.ldif").bytes;
    std::minstd_rand random(seed);
    for (int i = 0; i < 400; ++i) {
        entries += "dn: cn=large" + std::to_string(i) +
                   ",dc=home,dc=example\nobjectClass: organizationalRole\ncn: large" +
                   std::to_string(i) + "\ndescription: ";
        for (int j = 0; j < 8000; ++j)
            entries += static_cast<char>('0' + random() % 64);
        entries += "\n\n";
    }
    Describe(members, ManifestOf(members));
    return Packed(name, members);
}

// The file is written to during its second reading.
TEST_F(FailedRestore, BecauseTheFileChangesBeforeTheSecondReadingChangesNothing) {
    const int pid = ServerPid();
    const std::string file = LargeBackup("written-to.tar.zst", 1);
    const std::string other = LargeBackup("other.tar.zst", 2);
    const Substitute slapadd("/usr/zafo/bin/slapadd",
                             "cat " + other + " >" + file + "\nexec @REAL@ \"$@\"\n");
    const rig::ProgramRun run = Restore(file);
    EXPECT_EQ(run.exit_code, 8) << run.err;
    EXPECT_EQ(ServerPid(), pid);
    ExpectAsBefore();
}

}  // namespace
}  // namespace zafo::test
