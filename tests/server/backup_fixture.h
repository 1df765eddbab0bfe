// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of the backup settings, of the backup program's runs and of its progress.
#pragma once

#include <filesystem>
#include <fstream>

#include "tests/server/server_fixture.h"

namespace zafo::server_test {

inline constexpr const char *kBackupConf = "/usr/zafo/etc/ldapbackup.conf";
inline constexpr const char *kConfLock = "/tmp/.zafoldap_conf.lock";
inline constexpr const char *kShares = "/usr/zafo/etc/smb.conf";
inline constexpr const char *kProgress = "/var/log/zafoldap.progress";
inline constexpr const char *kBackups = "/var/lib/backups";
// The scheduled command.
inline constexpr const char *kCommand = "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2";

class BackupTest : public ServerTest {
  protected:
    BackupTest() {
        RemoveBackupFiles();
        std::filesystem::create_directories(kBackups);
    }
    ~BackupTest() override {
        ZAFOLDAPBackupConfigFree(&config_);
        RemoveBackupFiles();
    }

    static void RemoveBackupFiles() {
        for (const char *path : {kBackupConf, kConfLock, kShares, kProgress, kBackups})
            std::filesystem::remove_all(path);
        std::filesystem::remove(std::string(kBackupConf) + ".lock");
    }

    static void WriteTask(const std::string &lines) { Write(kBackupConf, "[backup]\n" + lines); }

    ZAFOLDAP_BACKUP_CONFIG config_{};
};

}  // namespace zafo::server_test
