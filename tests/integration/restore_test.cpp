// SPDX-License-Identifier: Apache-2.0
//
// Restoring a backup: what comes back, what is kept, and on which machines it works.
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <tuple>

#include "platform/service.h"
#include "tests/integration/restore_fixture.h"
#include "tests/rig/running_tool.h"
#include "tools/backup/job_lock.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::IsEmpty;

// --- What comes back ------------------------------------------------------------------

class Restoring : public RestoreTest {
  protected:
    static bool Binds(const std::string &name, const std::string &password) {
        return Server().Client({Server().UserDN(name), password}, "ldapwhoami", {}).exit_code == 0;
    }
};

TEST_F(Restoring, RestoresTheEntriesToTheLastByte) {
    // Including operational attributes, which clients and other servers rely on.
    for (const char *attribute : {"\nentryUUID: ", "\nentryCSN: ", "\ncreateTimestamp: ",
                                  "\ncreatorsName: ", "\nmodifyTimestamp: "})
        ASSERT_THAT(Restored(), HasSubstr(attribute));
    Server().AddUser("bob", "came later");
    Server().Change("dn: " + Server().UserDN("anna") +
                    "\nchangetype: modify\nreplace: mail\nmail: new@example.com\n\n");
    const int pid = ServerPid();
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    ExpectServes(Restored());
    EXPECT_NE(ServerPid(), pid);
    ExpectNothingLeft();
}

TEST_F(Restoring, RestoresPasswordsAndRemovesWhatWasCreatedSince) {
    Server().AddUser("carl", "came later");
    Server().Change("dn: " + Server().UserDN("anna") +
                    "\nchangetype: modify\nreplace: userPassword\nuserPassword: new\n\n");
    ASSERT_TRUE(Binds("carl", "came later"));
    ASSERT_TRUE(Binds("anna", "new"));
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    EXPECT_FALSE(Binds("carl", "came later"));
    EXPECT_FALSE(Binds("anna", "new"));
    EXPECT_TRUE(Binds("anna", "the old password"));
}

TEST_F(Restoring, LetsTheServerWriteAgain) {
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    Server().AddUser("dora", "after the restore");
    EXPECT_TRUE(Binds("dora", "after the restore"));
}

TEST_F(Restoring, OfTheSameBackupTwiceGivesTheSame) {
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    ExpectServes(Restored());
}

using Facts = std::tuple<uid_t, gid_t, mode_t>;

std::map<std::string, Facts> FactsOfDatabase() {
    std::map<std::string, Facts> facts;
    const auto add = [&](const std::string &path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0);
        facts[path] = {status.st_uid, status.st_gid, status.st_mode};
    };
    add(kDatabase);
    for (const auto &entry : fs::directory_iterator(kDatabase))
        add(entry.path());
    return facts;
}

TEST_F(Restoring, KeepsOwnersAndModesAndSettingsOfTheDatabase) {
    const std::string settings = std::string(kDatabase) + "/DB_CONFIG";
    fs::copy_file("/usr/zafo/etc.defaults/openldap/data/DB_CONFIG", settings);
    fs::permissions(settings, fs::perms(0600));
    // The server owns it from its next start on.
    ASSERT_EQ(QLIBServiceStop(kService, 0), 0);
    ASSERT_EQ(QLIBServiceStart(kService, 0), 0);
    const std::string text = FileContent(settings);
    const auto before = FactsOfDatabase();
    ASSERT_EQ(before.size(), 5U) << "folder, data, lock, marker, settings";
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    EXPECT_EQ(FactsOfDatabase(), before);
    EXPECT_EQ(FileContent(settings), text);
    EXPECT_EQ(fs::file_size(kMarker), 0U);
    fs::remove(settings);
}

TEST_F(Restoring, MakesADataFileNoLargerThanItsEntries) {
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    EXPECT_LT(fs::file_size(std::string(kDatabase) + "/data.mdb"), 10U << 20);
}

TEST_F(Restoring, KeepsConfigurationAndConnection) {
    std::map<std::string, std::string> before;
    for (const char *path :
         {kConfiguration, kAccessRules, "/usr/zafo/etc/private/ldapbrowser.conf"})
        before[path] = FileContent(path);
    ASSERT_EQ(Restore(Backup()).exit_code, 0);
    for (const auto &[path, text] : before)
        EXPECT_EQ(FileContent(path), text) << path;
}

TEST_F(Restoring, LeavesAStoppedServerStopped) {
    ASSERT_EQ(QLIBServiceStop(kService, 0), 0);
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(ServerPid(), 0);
    ExpectHolds(Restored());
    ExpectNothingLeft();
    ASSERT_EQ(QLIBServiceStart(kService, 0), 0);
    ExpectServes(Restored());
}

TEST_F(Restoring, ThroughTheLibraryReportsItsProgress) {
    ASSERT_EQ(ZAFOLDAPServerRestore(Backup().c_str()), 0);
    ExpectServes(Restored());
    ZAFOLDAP_PROGRESS progress;
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress), 1);
    EXPECT_STREQ(progress.szOperation, "restore");
    EXPECT_EQ(progress.nTotal, 8);
    EXPECT_EQ(progress.nStage, 8);
    EXPECT_EQ(progress.nStatus, 0);
    EXPECT_EQ(progress.blRunning, 0);
    ZAFOLDAPServerProgressFree(&progress);
}

TEST_F(Restoring, OfAnOlderSlapdsBackupWorks) {
    std::vector<Member> members = MembersOf(Backup());
    backup::Manifest manifest = ManifestOf(members);
    manifest.slapd_version = "2.4.57+dfsg-3";
    Describe(members, manifest);
    EXPECT_EQ(Restore(Packed("older.tar.zst", members)).exit_code, 0);
    ExpectServes(Restored());
}

// --- One at a time --------------------------------------------------------------------

TEST_F(Restoring, IsBusyWhileAnotherJobRunsAndLeavesItsProgressAlone) {
    constexpr const char *kProgress = "/var/log/zafoldap.progress";
    const std::string entries = Slapcat();
    const backup::JobLock lock;
    WriteFile(kProgress, "operation=backup\n");
    EXPECT_EQ(Restore(Backup()).exit_code, 1);
    EXPECT_EQ(rig::RunProgram({kBackupProgram}).exit_code, 1);
    EXPECT_EQ(FileContent(kProgress), "operation=backup\n");
    ExpectServes(entries);
}

TEST_F(Restoring, TwiceConcurrentlyIsDoneOnce) {
    const Substitute slow("/usr/zafo/bin/slapadd", "sleep 1\nexec @REAL@ \"$@\"\n");
    rig::RunningTool first({kBackupProgram, "-r", Backup()});
    while (!backup::JobRuns())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(Restore(Backup()).exit_code, 1);
    EXPECT_EQ(rig::RunProgram({kBackupProgram}).exit_code, 1) << "a backup";
    EXPECT_EQ(first.Finish().status, 0);
    ExpectServes(Restored());
}

// --- What is refused ------------------------------------------------------------------

struct Refusal {
    const char *name;
    std::string (*make)();
    int exit_code;
    const char *words;
};

std::string Changed(const char *name, void (*change)(std::vector<Member> &)) {
    std::vector<Member> members = MembersOf(MakeBackup());
    change(members);
    return Packed(name, members);
}

std::string ReplacedAll(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

std::string Written(const std::string &bytes) {
    const std::string path = std::string(kBackups) + "/changed.tar.zst";
    WriteFile(path, bytes);
    return path;
}

void ExpectedByNewerSlapd(std::vector<Member> &members) {
    backup::Manifest manifest = ManifestOf(members);
    manifest.slapd_version = "2.99.1";
    Describe(members, manifest);
}

void OfAnotherSuffix(std::vector<Member> &members) {
    backup::Manifest manifest = ManifestOf(members);
    std::string &entries = Named(members, "data/000001.ldif").bytes;
    entries = ReplacedAll(entries, "dc=home,dc=example", "dc=work,dc=example");
    manifest.suffix = "dc=work,dc=example";
    Describe(members, manifest);
}

// Looks like a truncated file that has been repaired with good intentions.
void WithoutItsLastEntry(std::vector<Member> &members) {
    std::string &entries = Named(members, "data/000001.ldif").bytes;
    entries.resize(entries.rfind("\n\ndn:") + 2);
}

void WithAnEntryThatTheSchemaForbids(std::vector<Member> &members) {
    Named(members, "data/000001.ldif").bytes +=
        "dn: cn=strange,dc=home,dc=example\nobjectClass: unheardOf\ncn: strange\n\n";
    Describe(members, ManifestOf(members));
}

const Refusal kRefusals[] = {
    {"that is missing", [] { return std::string("/var/backups/none"); }, 2, "No such file"},
    {"that is a folder", [] { return std::string(kBackups); }, 2, "not a regular file"},
    {"that is empty", [] { return Written(""); }, 2, "empty"},
    {"that is no backup", [] { return std::string("/etc/services"); }, 8, "not a backup"},
    {"with one bit flipped",
     [] {
         std::string bytes = FileContent(MakeBackup());
         bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
         return Written(bytes);
     },
     8, "changed.tar.zst"},
    {"that is cut",
     [] {
         std::string bytes = FileContent(MakeBackup());
         bytes.resize(bytes.size() / 2);
         return Written(bytes);
     },
     8, "changed.tar.zst"},
    {"without its last entry", [] { return Changed("less.tar.zst", WithoutItsLastEntry); }, 8,
     "less.tar.zst"},
    {"with an entry that the schema forbids",
     [] { return Changed("strange.tar.zst", WithAnEntryThatTheSchemaForbids); }, 8, "unheardOf"},
    {"of another suffix", [] { return Changed("other.tar.zst", OfAnotherSuffix); }, 10,
     "dc=work,dc=example"},
    {"of a newer format",
     [] {
         return Changed("format.tar.zst", [](std::vector<Member> &members) {
             members.front().bytes = "zafoldap-backup 2\n";
         });
     },
     11, "format 2"},
    {"of a newer slapd", [] { return Changed("slapd.tar.zst", ExpectedByNewerSlapd); }, 12,
     "2.99.1"},
};

TEST_F(Restoring, OfABadFileTouchesNothing) {
    const std::string entries = Slapcat();
    const int pid = ServerPid();
    for (const Refusal &row : kRefusals) {
        SCOPED_TRACE(std::string("a file ") + row.name);
        const rig::ProgramRun run = Restore(row.make());
        EXPECT_EQ(run.exit_code, row.exit_code) << run.err;
        EXPECT_THAT(run.err, HasSubstr(row.words));
        EXPECT_EQ(ServerPid(), pid) << "it was stopped";
        ExpectHolds(entries);
        ExpectNothingLeft();
    }
}

TEST_F(Restoring, IntoADatabaseThatMayNotGrowTouchesNothing) {
    const std::string entries = Slapcat();
    const std::string configuration = FileContent(kConfiguration);
    const int pid = ServerPid();
    WriteFile(kConfiguration, ReplacedAll(configuration, "maxsize 68719476736", "maxsize 65536"));
    const rig::ProgramRun run = Restore(Backup());
    WriteFile(kConfiguration, configuration);
    EXPECT_EQ(run.exit_code, 7) << run.err;
    EXPECT_THAT(run.err, HasSubstr("MDB_MAP_FULL"));
    EXPECT_EQ(ServerPid(), pid);
    ExpectServes(entries);
    ExpectNothingLeft();
}

// A server that runs although its service is disabled could be stopped, but not started again.
TEST_F(Restoring, BeneathAServerThatIsNotEnabledTouchesNothing) {
    const std::string entries = Slapcat();
    ASSERT_EQ(QLIBServiceDisable(kService), 0);
    const rig::ProgramRun run = Restore(Backup());
    ASSERT_EQ(QLIBServiceEnable(kService), 0);
    EXPECT_EQ(run.exit_code, 5) << run.err;
    EXPECT_THAT(run.err, HasSubstr("not enabled"));
    ExpectServes(entries);
    ExpectNothingLeft();
}

// Only the link would be swapped, and the database end up elsewhere. Backups do work.
TEST_F(Restoring, IntoAFolderBehindALinkTouchesNothing) {
    constexpr const char *kElsewhere = "/usr/zafo/etc/moved";
    const std::string entries = Slapcat();
    ASSERT_EQ(QLIBServiceStop(kService, 0), 0);
    fs::rename(kDatabase, kElsewhere);
    fs::create_directory_symlink(kElsewhere, kDatabase);
    MakeBackup();
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 3) << run.err;
    EXPECT_THAT(run.err, HasSubstr("is a link"));
    ExpectHolds(entries);
    fs::remove(kDatabase);
    fs::rename(kElsewhere, kDatabase);
    ExpectNothingLeft();
}

// --- A machine that has no server yet -----------------------------------------------------

class OnANewMachine : public RestoreTest {
  protected:
    // The backup then comes from another machine, which does not share this one's key.
    void SetUp() override {
        RestoreTest::SetUp();
        if (IsSkipped()) return;
        rules_ = FileContent(kAccessRules);
        configuration_ = FileContent(kConfiguration);
        ForgetServer();
    }

    std::string rules_, configuration_;
};

TEST_F(OnANewMachine, BringsConfigurationAndConnectionWithIt) {
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 0) << run.err;
    ExpectHolds(Restored());
    EXPECT_EQ(FileContent(kAccessRules), rules_);
    EXPECT_EQ(FileContent(kConfiguration), configuration_);
    EXPECT_EQ(QLIBServiceIsEnabled(kService), 0);
    EXPECT_EQ(ServerPid(), 0);
    ASSERT_EQ(QLIBServiceEnable(kService), 0);
    EXPECT_EQ(QLIBServiceStart(kService, 0), 0);
    ZAFOLDAP_HOST host;
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, nullptr), 1);
    ZAFOLDAPHostFree(&host);
}

// Must be last: the server of this binary cannot be used afterwards.
TEST_F(OnANewMachine, SaysThatThePasswordCannotBeRead) {
    fs::remove("/usr/zafo/etc/private/machine.key");
    const rig::ProgramRun run = Restore(Backup());
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("enciphered on another machine"));
    ExpectHolds(Restored());
}

}  // namespace
}  // namespace zafo::test
