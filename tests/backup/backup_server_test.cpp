// SPDX-License-Identifier: Apache-2.0
//
// Backups of the appliance's real server, mostly while clients write to it.
#include <sys/wait.h>

#include <cstdlib>

#include <gmock/gmock.h>

#include "tests/backup/folder_fixture.h"
#include "tests/integration/own_server.h"
#include "tests/rig/ldif_reader.h"
#include "tests/rig/running_tool.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/backup_folder.h"
#include "zafoldap.h"

namespace {

using namespace zafo;
using namespace zafo::test;

constexpr int kWriters = 4;
constexpr int kFiller = 1500;  // entries between two that must agree
constexpr int kBackups = 8;

struct Saved {
    std::string file;
    backup::Contents contents;
    std::string entries;

    // The entries below "cn=load", keyed by RDN.
    std::map<std::string, std::string> Load() const;
};

class ServerBackup : public FolderTest {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        OwnServer::Get();
    }

    rig::ToolOutcome Run() const {
        return rig::RunTool({"/usr/zafo/bin/zafoldapbackup"},
                            {"LDAP_BKP_DEST_DIR=" + folder_, "LDAP_BKP_MAX_BACKUP_FILE=1000"});
    }

    // The newest backup, verified.
    Saved Newest() const {
        Saved saved;
        saved.file = backup::BackupsIn(folder_, "zafoldap").at(0).path;
        const UniqueFd fd = backup::OpenBackup(saved.file);
        saved.contents = backup::ReadArchive(
            fd.Get(), saved.file, [&](std::string_view block) { saved.entries += block; });
        return saved;
    }

    Saved MakeBackup() const {
        const rig::ToolOutcome outcome = Run();
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        return Newest();
    }
};

std::map<std::string, std::string> Saved::Load() const {
    const std::string below = ",cn=load," + OwnServer::Get().Settings().suffix;
    std::map<std::string, std::string> load;
    for (size_t at = 0; at < entries.size();) {
        const size_t end = entries.find("\n\n", at);
        const std::string entry = entries.substr(at, end - at + 1);
        const std::string dn = entry.substr(4, entry.find('\n') - 4);
        if (dn.ends_with(below)) load[dn.substr(0, dn.size() - below.size())] = entry;
        at = end + 2;
    }
    return load;
}

// The number in an attribute of an entry; -1 if there is none.
long NumberIn(const std::string &entry, const std::string &attribute) {
    const size_t at = entry.find("\n" + attribute + ": ");
    return at == std::string::npos
               ? -1
               : std::strtol(entry.c_str() + at + attribute.size() + 3, nullptr, 10);
}

// --- Writers --------------------------------------------------------------------

std::string Name(const char *kind, int writer) {
    return std::string("cn=") + kind + std::to_string(writer);
}

std::string NewEntry(const std::string &rdn, int number) {
    const std::string text = std::to_string(number);
    return "dn: " + rdn + ",cn=load," + OwnServer::Get().Settings().suffix +
           "\nchangetype: add\nobjectClass: organizationalRole\n" + "cn: " + rdn.substr(3) +
           "\ndescription: " + text + "\nstreet: " + text + "\n\n";
}

std::string NewNumber(const std::string &rdn, int number) {
    const std::string text = std::to_string(number);
    return "dn: " + rdn + ",cn=load," + OwnServer::Get().Settings().suffix +
           "\nchangetype: modify\nreplace: description\ndescription: " + text +
           "\n-\nreplace: street\nstreet: " + text + "\n\n";
}

// Below "cn=load": for each writer a first entry, then many others, then a second one. A reader
// that does not see a single state would get the first one from before a change and the second from
// after.
void PrepareLoad() {
    const OwnServer &server = OwnServer::Get();
    std::string ldif = "dn: cn=load," + server.Settings().suffix +
                       "\nchangetype: add\nobjectClass: organizationalRole\ncn: load\n\n";
    for (int writer = 0; writer < kWriters; ++writer)
        ldif += NewEntry(Name("first", writer), 0);
    for (int i = 0; i < kFiller; ++i)
        ldif += NewEntry("cn=filler" + std::to_string(i), i);
    for (int writer = 0; writer < kWriters; ++writer)
        ldif += NewEntry(Name("second", writer), 0);
    server.Change(ldif);
}

// One writer's work: the first entry gets the next number, then the second, then an entry with that
// number is created. Everything is acknowledged in this order.
std::string Work(int writer) {
    std::string ldif;
    for (int number = 1; number <= 20000; ++number) {
        ldif += NewNumber(Name("first", writer), number);
        ldif += NewNumber(Name("second", writer), number);
        ldif += NewEntry(Name("made", writer) + "-" + std::to_string(number), number);
    }
    return ldif;
}

// Expects a state that the database was in: numbers in the order of the work, without gaps or
// entries from the future.
void ExpectOneState(const std::map<std::string, std::string> &load, int writer,
                    std::vector<long> *numbers) {
    SCOPED_TRACE("writer " + std::to_string(writer));
    ASSERT_TRUE(load.contains(Name("first", writer)) && load.contains(Name("second", writer)));
    const std::string &first = load.at(Name("first", writer));
    const std::string &second = load.at(Name("second", writer));
    const long number = NumberIn(first, "description");
    ASSERT_GE(number, 0);
    EXPECT_EQ(NumberIn(first, "street"), number);
    const long later = NumberIn(second, "description");
    EXPECT_EQ(NumberIn(second, "street"), later);
    EXPECT_TRUE(later == number || later == number - 1) << number << " and " << later;
    const std::string made = Name("made", writer) + "-";
    const auto all = std::count_if(load.begin(), load.end(),
                                   [&](const auto &one) { return one.first.starts_with(made); });
    EXPECT_TRUE(all == later || all == later - 1) << later << " and " << all;
    for (long i = 1; i <= all; ++i)
        EXPECT_TRUE(load.contains(made + std::to_string(i))) << i;
    numbers->push_back(number);
}

// Restores the backup and expects the server to hold it byte for byte.
void ExpectRestores(const Saved &saved) {
    const OwnServer &server = OwnServer::Get();
    const rig::ToolOutcome restore =
        rig::RunTool({"/usr/zafo/bin/zafoldapbackup", "-r", saved.file});
    ASSERT_EQ(restore.status, 0) << restore.output;
    const rig::ProgramRun numbers = server.Client(
        server.Admin(), "ldapsearch",
        {"-LLL", "-o", "ldif-wrap=no", "-b", "cn=load," + server.Settings().suffix, "1.1"});
    EXPECT_EQ(numbers.exit_code, 0) << numbers.err;
    EXPECT_EQ(rig::ParseLdif(numbers.out).size(), saved.Load().size() + 1);
    const rig::ToolOutcome slapcat = rig::RunTool({"/usr/zafo/bin/slapcat"});
    EXPECT_TRUE(slapcat.status == 0 && slapcat.output == saved.entries)
        << "the database does not hold what " << saved.file << " does";
}

TEST_F(ServerBackup, HoldsOneStateThatComesBackWhileFourClientsWrite) {
    const OwnServer &server = OwnServer::Get();
    PrepareLoad();
    std::vector<std::unique_ptr<rig::RunningTool>> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        Write("work" + std::to_string(writer), Work(writer));
        writers.push_back(std::make_unique<rig::RunningTool>(
            std::vector<std::string>{"/bin/sh", "-c",
                                     "exec ldapmodify -x -H ldap://localhost -D '" +
                                         server.Admin().dn + "' -w '" + server.Admin().password +
                                         "' -f " + Path("work" + std::to_string(writer)) +
                                         " >/dev/null"},
            std::vector<std::string>{"PATH=/usr/bin:/bin", "LDAPNOINIT=1"}));
    }
    std::vector<std::vector<long>> numbers(kWriters);
    std::vector<Saved> all;
    for (int i = 0; i < kBackups; ++i) {
        all.push_back(MakeBackup());
        const auto load = all.back().Load();
        for (int writer = 0; writer < kWriters; ++writer)
            ExpectOneState(load, writer, &numbers[static_cast<size_t>(writer)]);
        ASSERT_FALSE(HasFailure()) << "backup " << i + 1;
    }
    for (auto &writer : writers)
        EXPECT_EQ(kill(writer->Pid(), 0), 0) << "a writer had nothing to do any more";
    writers.clear();
    // The writers must have written throughout.
    for (const std::vector<long> &one : numbers) {
        ASSERT_EQ(one.size(), static_cast<size_t>(kBackups));
        for (size_t i = 1; i < one.size(); ++i)
            EXPECT_GT(one[i], one[i - 1]);
    }
    for (const Saved &saved : all) {
        ExpectRestores(saved);
        ASSERT_FALSE(HasFailure()) << saved.file;
    }
}

// --- The whole of it --------------------------------------------------------------

TEST_F(ServerBackup, SaysWhatSlapcatSays) {
    const Saved saved = MakeBackup();
    const rig::ToolOutcome slapcat = rig::RunTool({"/usr/zafo/bin/slapcat"});
    ASSERT_EQ(slapcat.status, 0);
    EXPECT_EQ(saved.entries, slapcat.output);
    EXPECT_EQ(saved.contents.manifest.suffix, OwnServer::Get().Settings().suffix);
}

TEST_F(ServerBackup, CanBeLoadedBySlapadd) {
    const Saved saved = MakeBackup();
    Write("entries.ldif", saved.entries);
    const rig::ToolOutcome dry_run =
        rig::RunTool({"/usr/sbin/slapadd", "-u", "-f", "/usr/zafo/etc/openldap/slapd.conf", "-l",
                      Path("entries.ldif")});
    EXPECT_EQ(dry_run.status, 0) << dry_run.output;
}

TEST_F(ServerBackup, HoldsTheConfigurationThatIsInPlace) {
    const Saved saved = MakeBackup();
    const auto text_of = [](const char *path) {
        std::ifstream file(path);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    };
    ASSERT_NE(saved.contents.Config(backup::kSlapdConfMember), nullptr);
    EXPECT_EQ(*saved.contents.Config(backup::kSlapdConfMember),
              text_of("/usr/zafo/etc/openldap/slapd.conf"));
    ASSERT_NE(saved.contents.Config(backup::kAccessRulesMember), nullptr);
    EXPECT_EQ(*saved.contents.Config(backup::kAccessRulesMember),
              text_of("/usr/zafo/etc/openldap/slapd-acls.conf"));
}

TEST_F(ServerBackup, HoldsNoSecretInClear) {
    const Saved saved = MakeBackup();
    const std::string secret = OwnServer::Get().Settings().password;
    EXPECT_EQ(saved.entries.find(secret), std::string::npos);
    ASSERT_NE(saved.contents.Config(backup::kConnectionMember), nullptr);
    EXPECT_NE(saved.contents.Config(backup::kConnectionMember)->find("bindpw"), std::string::npos);
    for (const backup::ConfigFile &file : saved.contents.config)
        EXPECT_EQ(file.bytes.find(secret), std::string::npos) << file.name;
}

TEST_F(ServerBackup, IsMadeOfAStoppedServerToo) {
    ASSERT_EQ(ZAFOLDAPServerStop(), 0);
    MakeBackup();
    EXPECT_EQ(ZAFOLDAPServerStart(), 0);
}

TEST_F(ServerBackup, IsMadeThroughTheLibrary) {
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.szTask = "backup";
    config.szDestDir = folder_.c_str();
    config.nMaxFile = 2;
    ASSERT_EQ(ZAFOLDAPBackupConfigSet(&config), 0);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(backup::BackupsIn(folder_, "zafoldap").size(), 2u);
    EXPECT_EQ(Newest().contents.manifest.number, 3u);
    ZAFOLDAP_PROGRESS progress{};
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress), 1);
    EXPECT_STREQ(progress.szOperation, "backup");
    EXPECT_STREQ(progress.szTask, "backup");
    EXPECT_EQ(progress.blRunning, 0);
    EXPECT_EQ(progress.nStage, progress.nTotal);
    EXPECT_EQ(progress.nStatus, 0);
    ZAFOLDAPServerProgressFree(&progress);
}

// Must be last: it destroys the server.
TEST_F(ServerBackup, OfADamagedDatabaseFails) {
    ASSERT_EQ(ZAFOLDAPServerStop(), 0);
    std::ofstream("/usr/zafo/etc/openldap/data/data.mdb") << "this is no database";
    const rig::ToolOutcome outcome = Run();
    EXPECT_EQ(WEXITSTATUS(outcome.status), 5) << outcome.output;
    EXPECT_THAT(outcome.output, testing::HasSubstr("slapcat failed (exit code 1)"));
    EXPECT_TRUE(Names().empty());
}

}  // namespace
