// SPDX-License-Identifier: Apache-2.0
#include "tests/backup/program_fixture.h"

#include <sys/stat.h>

#include <filesystem>

#include "tools/backup/backup_folder.h"
#include "tools/backup/job_error.h"

namespace zafo::test {

namespace {

void WriteText(const std::string &path, std::string_view text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
}

}  // namespace

std::string Entries(std::string_view remark) {
    return "dn: dc=example,dc=com\ndc: example\ndescription: " + std::string(remark) +
           "\n\ndn: cn=users,dc=example,dc=com\ncn: users\n\n";
}

void BackupProgramTest::SetUp() {
    FolderTest::SetUp();
    variables_ = {{"LDAP_BROWSER_CONF", "/usr/zafo/etc/private/ldapbrowser.conf"},
                  {"LDAP_BKP_PROGRESS_FILE", kProgress},
                  {"LDAP_BKP_PREFIX", "zafoldap"},
                  {"LDAP_BKP_TASK", "backup"},
                  {"LDAP_BKP_DEST_DIR", folder_},
                  {"LDAP_BKP_SCHEDULE_ENABLED", "no"},
                  {"LDAP_BKP_MAX_BACKUP_FILE", "3"}};
    WriteText("/usr/zafo/etc/openldap/slapd.conf", "include x\nsuffix \"dc=Example, dc=com\"\n");
    WriteText("/usr/zafo/etc/openldap/slapd-acls.conf", "access to * by * read\n");
    WriteText("/usr/zafo/etc/openldap/data/data.mdb", "a database");
    WriteText("/usr/zafo/etc/private/ldapbrowser.conf",
              "[other]\nbindpw=theirs\n\n[root]\nuri=localhost\nbindpw=ours\n");
    std::filesystem::remove(kProgress);
    tools_.Reset();
    tools_.On("slapcat").Output(Entries());
}

std::vector<std::string> BackupProgramTest::Environment() const {
    std::vector<std::string> lines;
    for (const auto &[name, value] : variables_)
        lines.push_back(name + "=" + value);
    return lines;
}

void BackupProgramTest::MakeBackup() const {
    const rig::FaultRun run = Run();
    EXPECT_EQ(run.ExitCode(), 0) << run.words;
}

std::vector<std::string> BackupProgramTest::Backups() const {
    std::vector<std::string> names;
    for (const backup::FoundBackup &found : backup::BackupsIn(folder_, "zafoldap"))
        names.push_back(found.path.substr(folder_.size() + 1));
    return names;
}

std::vector<std::string> BackupProgramTest::Others() const {
    std::set<std::string> names = Names();
    for (const std::string &name : Backups())
        names.erase(name);
    return {names.begin(), names.end()};
}

std::map<std::string, std::string> BackupProgramTest::Contents() const {
    std::map<std::string, std::string> contents;
    for (const std::string &name : Backups())
        contents[name] = Read(name);
    return contents;
}

backup::Contents BackupProgramTest::Verified(const std::string &name) const {
    try {
        const UniqueFd fd = backup::OpenBackup(Path(name));
        return backup::ReadArchive(fd.Get(), Path(name));
    } catch (const backup::JobError &error) {
        ADD_FAILURE() << error.what();
        return {};
    }
}

std::string BackupProgramTest::EntriesOf(const std::string &name) const {
    std::string entries;
    const UniqueFd fd = backup::OpenBackup(Path(name));
    backup::ReadArchive(fd.Get(), Path(name), [&](std::string_view block) { entries += block; });
    return entries;
}

std::string BackupProgramTest::Progress(const std::string &key) {
    std::ifstream file(kProgress);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
    }
    return "";
}

}  // namespace zafo::test
