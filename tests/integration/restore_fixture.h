// SPDX-License-Identifier: Apache-2.0
//
// Restoring on the appliance's own server: the program as the library runs it, and what must hold
// however a restore ends.
#pragma once

#include <string>
#include <vector>

#include "tests/backup/sealed_archive.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {

inline constexpr const char *kBackupProgram = "/usr/zafo/bin/zafoldapbackup";
inline constexpr const char *kServerFolder = "/usr/zafo/etc/openldap";
inline constexpr const char *kSpareFolder = "/usr/zafo/etc/openldap/data.new";
inline constexpr const char *kJournal = "/usr/zafo/etc/openldap/restore.journal";
inline constexpr const char *kServiceSettings = "/usr/zafo/etc/service/ldap-server.conf";
inline constexpr const char *kBackups = "/var/backups";

// Backs up the server as it is and returns the path. Throws on failure.
std::string MakeBackup();

rig::ProgramRun Restore(const std::string &file);

// The members of a backup, to be changed and packed again.
std::vector<Member> MembersOf(const std::string &backup);

// Packs the members into a file under kBackups, with a correct seal and the manifest unchanged.
std::string Packed(const std::string &name, const std::vector<Member> &members);

// Makes the manifest match the members again.
void Describe(std::vector<Member> &members, backup::Manifest manifest);
backup::Manifest ManifestOf(const std::vector<Member> &members);

// Replaces a program of the appliance with a script; the destructor puts the program back.
class Substitute {
  public:
    // "@REAL@" in the script becomes the command that runs the program itself.
    Substitute(std::string path, std::string script);
    ~Substitute();
    Substitute(const Substitute &) = delete;
    Substitute &operator=(const Substitute &) = delete;

  private:
    std::string Aside() const { return path_ + ".aside"; }

    std::string path_;
};

// Additional settings of the service, removed by the destructor.
class ServiceSettings {
  public:
    explicit ServiceSettings(const std::string &text);
    ~ServiceSettings();
    ServiceSettings(const ServiceSettings &) = delete;
    ServiceSettings &operator=(const ServiceSettings &) = delete;
};

// Expects no leftovers of a restore beside the server's own files.
void ExpectNothingLeft();

// The server of the binary with one backup; the entries have been changed since.
class RestoreTest : public ServerTest {
  protected:
    void SetUp() override;

    static OwnServer &Server() { return SharedServer(); }
    static const std::string &Backup();    // its path
    static const std::string &Restored();  // the entries in it, as slapcat(8) prints them

    // Adds an entry that is in no backup.
    static void ChangeEntries();

    // Expects the server to answer and to hold exactly these entries, byte for byte.
    static void ExpectServes(const std::string &entries);
    static void ExpectHolds(const std::string &entries);
};

// Expects a failed restore to change nothing.
class UnchangedTest : public RestoreTest {
  protected:
    void SetUp() override;
    void ExpectAsBefore() const;

    std::string entries_;  // at the start of the test
};

}  // namespace zafo::test
