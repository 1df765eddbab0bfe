// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/restore_fixture.h"

#include <fcntl.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "platform/service.h"
#include "tests/rig/ldif_reader.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/entry_scan.h"

namespace zafo::test {

namespace fs = std::filesystem;

namespace {

constexpr const char *kEntriesMember = "data/000001.ldif";

struct SavedServer {
    std::string file;
    std::string entries;
};

const SavedServer &Saved() {
    static const SavedServer saved = [] {
        SharedServer().AddUser("anna", "the old password");
        const std::string file = MakeBackup();
        return SavedServer{file, Slapcat()};
    }();
    return saved;
}

}  // namespace

std::string MakeBackup() {
    fs::create_directories(kBackups);
    setenv("LDAP_BKP_DEST_DIR", kBackups, 1);
    std::set<std::string> before;
    for (const auto &entry : fs::directory_iterator(kBackups))
        before.insert(entry.path());
    const rig::ProgramRun run = rig::RunProgram({kBackupProgram});
    if (run.exit_code != 0) throw std::runtime_error("no backup: " + run.err);
    for (const auto &entry : fs::directory_iterator(kBackups)) {
        if (!before.contains(entry.path())) return entry.path();
    }
    throw std::runtime_error("no backup was made");
}

rig::ProgramRun Restore(const std::string &file) {
    return rig::RunProgram({kBackupProgram, "-r", file});
}

std::vector<Member> MembersOf(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string entries;
    const backup::Contents contents = backup::ReadArchive(
        file.Get(), path, [&](std::string_view block) { entries.append(block); });
    std::vector<Member> members{{std::string(backup::kFormatMember), "zafoldap-backup 1\n"}};
    for (const backup::ConfigFile &config : contents.config)
        members.push_back({config.name, config.bytes});
    members.push_back({kEntriesMember, entries});
    members.push_back({std::string(backup::kManifestMember), backup::ToJson(contents.manifest)});
    return members;
}

std::string Packed(const std::string &name, const std::vector<Member> &members) {
    fs::create_directories(kBackups);
    const std::string path = std::string(kBackups) + "/" + name;
    WriteFile(path, Sealed(Packed(members)));
    return path;
}

backup::Manifest ManifestOf(const std::vector<Member> &members) {
    return backup::ManifestFrom(members.back().bytes);
}

void Describe(std::vector<Member> &members, backup::Manifest manifest) {
    const std::string &entries = Named(members, kEntriesMember).bytes;
    backup::EntryScan scan;
    scan.Add(entries);
    manifest.entries = scan.Entries();
    manifest.ldif_bytes = entries.size();
    manifest.sha256 = backup::Sha256Of(entries);
    members.back().bytes = backup::ToJson(manifest);
}

Substitute::Substitute(std::string path, std::string script) : path_(std::move(path)) {
    constexpr std::string_view kReal = "@REAL@";
    // The tool front acts on the name under which it runs.
    const std::string name = fs::path(path_).filename();
    const std::string real =
        fs::is_symlink(path_) ? "-a " + name + " /usr/zafo/bin/zafo-tool-front" : Aside();
    fs::rename(path_, Aside());
    for (size_t at = 0; (at = script.find(kReal, at)) != std::string::npos;)
        script.replace(at, kReal.size(), real);
    WriteFile(path_, "#!/bin/bash\n" + script);
    fs::permissions(path_, fs::perms(0755));
}

Substitute::~Substitute() {
    std::error_code ignored;
    fs::rename(Aside(), path_, ignored);
}

ServiceSettings::ServiceSettings(const std::string &text) {
    fs::create_directories(fs::path(kServiceSettings).parent_path());
    WriteFile(kServiceSettings, text);
}

ServiceSettings::~ServiceSettings() {
    std::error_code ignored;
    fs::remove(kServiceSettings, ignored);
}

void ExpectNothingLeft() {
    const std::set<std::string> known{"data", "slapd.conf", "slapd-acls.conf", "slapd.conf.lock",
                                      "tls"};
    for (const auto &entry : fs::directory_iterator(kServerFolder))
        EXPECT_TRUE(known.contains(entry.path().filename())) << entry.path();
    const std::set<std::string> database{"data.mdb", "lock.mdb", "dn2id.bdb"};
    for (const auto &entry : fs::directory_iterator(kDatabase))
        EXPECT_TRUE(database.contains(entry.path().filename())) << entry.path();
    EXPECT_TRUE(fs::exists(kMarker));
}

void RestoreTest::SetUp() {
    ServerTest::SetUp();
    if (IsSkipped()) return;
    Saved();
    if (ServerPid() == 0) {
        ASSERT_EQ(QLIBServiceStart(kService, 0), 0);
    }
    if (Slapcat() == Restored()) ChangeEntries();
}

const std::string &RestoreTest::Backup() {
    return Saved().file;
}

const std::string &RestoreTest::Restored() {
    return Saved().entries;
}

void RestoreTest::ChangeEntries() {
    static int number = 0;
    const std::string name = "since the backup " + std::to_string(++number);
    Server().Change("dn: cn=" + name + "," + Server().Settings().suffix +
                    "\nchangetype: add\nobjectClass: organizationalRole\ncn: " + name + "\n\n");
}

// Names the differences; the full text would fill pages.
void RestoreTest::ExpectHolds(const std::string &entries) {
    const std::string held = Slapcat();
    if (held == entries) return;
    const auto [at, other] = std::ranges::mismatch(held, entries);
    const auto where = static_cast<size_t>(at - held.begin());
    ADD_FAILURE() << "unexpected content of the database: " << held.size() << " bytes, not "
                  << entries.size() << "; it differs at \"" << held.substr(where, 80)
                  << "\", expected \"" << entries.substr(where, 80) << '"';
}

void RestoreTest::ExpectServes(const std::string &entries) {
    ExpectHolds(entries);
    ASSERT_NE(ServerPid(), 0);
    const rig::ProgramRun run =
        Server().Client(Server().Admin(), "ldapsearch",
                        {"-LLL", "-o", "ldif-wrap=no", "-b", Server().Settings().suffix, "1.1"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(rig::ParseLdif(run.out).size(), rig::ParseLdif(entries).size());
}

void UnchangedTest::SetUp() {
    RestoreTest::SetUp();
    if (!IsSkipped()) entries_ = Slapcat();
}

void UnchangedTest::ExpectAsBefore() const {
    ExpectServes(entries_);
    ExpectNothingLeft();
}

}  // namespace zafo::test
