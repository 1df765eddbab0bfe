// SPDX-License-Identifier: Apache-2.0
//
// The backup settings and their lock.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tests/foreign/server.h"

namespace zafo::foreign {

// The lock of the settings, held by another process.
class HeldLock {
  public:
    explicit HeldLock(int kind)
        : descriptor_(open(kBackupLock, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_EQ(flock(descriptor_, kind | LOCK_NB), 0);
    }
    ~HeldLock() { close(descriptor_); }
    HeldLock(const HeldLock &) = delete;
    HeldLock &operator=(const HeldLock &) = delete;

  private:
    int descriptor_;
};

inline bool CanBeLocked(int kind) {
    const int descriptor = open(kBackupLock, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return errno == ENOENT;
    const bool got = flock(descriptor, kind | LOCK_NB) == 0;
    close(descriptor);
    return got;
}

inline Strings Numbers(const ZAFOSCHEDULE &schedule) {
    Strings numbers;
    for (int field : schedule.rgField)
        numbers.push_back(std::to_string(field));
    return numbers;
}

class BackupTest : public ServerTest {
  protected:
    ZAFOLDAP_BACKUP_CONFIG config_;

    void SetUp() override {
        ServerTest::SetUp();
        memset(&config_, 0x5A, sizeof config_);
        std::filesystem::remove_all("/tmp/backups");
        std::filesystem::create_directory("/tmp/backups");
    }
    Pairs &Section(const std::string &task = "backup") {
        return platform().sections[kBackupConf][task];
    }
};

}  // namespace zafo::foreign
