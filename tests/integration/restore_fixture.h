// SPDX-License-Identifier: Apache-2.0
//
// Restoring on the appliance's own server: the program as the library runs it, and what must hold
// whatever has become of a restore.
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

// Makes a backup of the server as it is; its path. Throws when that fails.
std::string MakeBackup();

rig::ProgramRun Restore(const std::string &file);

// What is in a backup, to be changed and packed again.
std::vector<Member> MembersOf(const std::string &backup);

// A file of those members under kBackups, with the right seal; the manifest as it stands.
std::string Packed(const std::string &name, const std::vector<Member> &members);

// The manifest says again what the members hold.
void Describe(std::vector<Member> &members, backup::Manifest manifest);
backup::Manifest ManifestOf(const std::vector<Member> &members);

// Puts a script in the place of a program of the appliance; the program is back when it goes.
class Substitute {
  public:
    // "@REAL@" in the script becomes what runs the program itself.
    Substitute(std::string path, std::string script);
    ~Substitute();
    Substitute(const Substitute &) = delete;
    Substitute &operator=(const Substitute &) = delete;

  private:
    std::string Aside() const { return path_ + ".aside"; }

    std::string path_;
};

// Settings of the service besides its own, gone with the owner.
class ServiceSettings {
  public:
    explicit ServiceSettings(const std::string &text);
    ~ServiceSettings();
    ServiceSettings(const ServiceSettings &) = delete;
    ServiceSettings &operator=(const ServiceSettings &) = delete;
};

// Nothing of a restore is left beside the server's own files.
void ExpectNothingLeft();

// The server of the binary with one backup of it; the entries have been changed since.
class RestoreTest : public ServerTest {
  protected:
    void SetUp() override;

    static OwnServer &Server() { return SharedServer(); }
    static const std::string &Backup();    // the file
    static const std::string &Restored();  // the entries in it, as slapcat(8) prints them

    // Adds an entry that no backup has.
    static void ChangeEntries();

    // The server answers and holds exactly these entries, byte for byte.
    static void ExpectServes(const std::string &entries);
    static void ExpectHolds(const std::string &entries);
};

// What a restore that came to nothing leaves.
class UnchangedTest : public RestoreTest {
  protected:
    void SetUp() override;
    void ExpectAsBefore() const;

    std::string entries_;  // at the beginning
};

}  // namespace zafo::test
