// SPDX-License-Identifier: Apache-2.0
//
// The backup program in a private root whose slapcat is the fake tool.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/backup/folder_fixture.h"
#include "tests/rig/fake_tool.h"
#include "tests/rig/fault.h"
#include "tools/backup/archive_reader.h"

namespace zafo::test {

// A fake tool also replaces the program under its own name.
constexpr const char *kBackupProgram = "/mnt/build/tools/zafoldapbackup/zafoldapbackup";
constexpr const char *kProgress = "/var/log/zafoldap.progress";

class BackupProgramTest : public FolderTest {
  protected:
    void SetUp() override;

    // The caller's environment, each variable once.
    std::map<std::string, std::string> variables_;
    rig::FakeTools tools_;

    std::vector<std::string> Environment() const;

    rig::FaultRun Run(const std::string &fault = "") const {
        return rig::RunWithFault({kBackupProgram}, Environment(), fault);
    }

    // Runs the program once and expects a backup.
    void MakeBackup() const;

    // The names of the backups in the folder, and of all other files.
    std::vector<std::string> Backups() const;
    std::vector<std::string> Others() const;

    // Every backup's content by its name.
    std::map<std::string, std::string> Contents() const;

    // A backup's contents; fails when it is damaged.
    backup::Contents Verified(const std::string &name) const;
    std::string EntriesOf(const std::string &name) const;

    static std::string Progress(const std::string &key);
};

// The entries that the fake slapcat prints.
std::string Entries(std::string_view remark = "");

}  // namespace zafo::test
