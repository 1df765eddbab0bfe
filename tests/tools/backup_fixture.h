// SPDX-License-Identifier: Apache-2.0
//
// One server in the private root of a test binary; each test starts with an empty backup folder and
// no settings.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/server_fixture.h"

namespace zafo::rig {

namespace fs = std::filesystem;

constexpr const char *kFolder = "/backups";
constexpr const char *kSettings = "/usr/zafo/etc/ldapbackup.conf";
constexpr const char *kSmbConf = "/usr/zafo/etc/smb.conf";
constexpr const char *kCronTable = "/etc/cron.d/zafo";
constexpr const char *kProgress = "/var/log/zafoldap.progress";
constexpr const char *kJobLock = "/var/run/zafoldapbackup.lock";
constexpr const char *kSuffix = "dc=example,dc=com";

inline bool SetUpOnce() {
    static const ProgramRun kRun =
        ServerLine(std::string("enable --suffix ") + kSuffix + " --password-stdin");
    return kRun.exit_code == 0;
}

inline std::vector<std::string> Files(const std::string &folder = kFolder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

inline std::string Users() {
    return Zafoldap({"user", "list", "--format", "plain", "--fields", "name"}).out;
}

// Holds the lock of a running job.
class OtherJob {
  public:
    explicit OtherJob(const std::string &progress)
        : fd_(open(kJobLock, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_EQ(flock(fd_, LOCK_EX), 0);
        WriteFile(kProgress, progress, 0644);
    }
    ~OtherJob() { close(fd_); }
    OtherJob(const OtherJob &) = delete;
    OtherJob &operator=(const OtherJob &) = delete;

  private:
    int fd_;
};

inline std::string ProgressText(const std::string &operation, int status, int stage = 3,
                                int pid = 1) {
    return "operation=" + operation +
           "\ntask=backup\naction=saving the entries\ntotal=6\nstage=" + std::to_string(stage) +
           "\nstatus=" + std::to_string(status) + "\npid=" + std::to_string(pid) + "\n";
}

class Backup : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(SetUpOnce());
        for (const char *path : {kFolder, kSettings, kSmbConf, kProgress, "/etc/cron.d", "/link"})
            fs::remove_all(path);
        fs::create_directory(kFolder);
        fs::create_directory("/etc/cron.d");
    }

    static void SetDestination() {
        const ProgramRun run = ServerLine(std::string("backup config set --dir ") + kFolder);
        ASSERT_EQ(run.exit_code, 0) << run.err;
    }

    static std::string Make() { return ServerLineJson("backup now")["data"]["file"]; }

    // Expects the exit code, the key and the words, and that settings, schedule and files are
    // unchanged.
    static void ExpectRefusal(const std::string &line, int exit_code, const std::string &key,
                              const std::string &words) {
        SCOPED_TRACE(line);
        const std::string before = TreeBelow({kFolder, "/usr/zafo/etc", "/etc/cron.d"});
        const ProgramRun run = ServerLine(line);
        EXPECT_EQ(run.exit_code, exit_code) << run.err;
        EXPECT_THAT(run.err,
                    testing::AllOf(testing::HasSubstr(words), testing::HasSubstr("\nhint: ")));
        EXPECT_EQ(ErrorOf(ServerLine(line + " --json"))["key"], key);
        EXPECT_EQ(TreeBelow({kFolder, "/usr/zafo/etc", "/etc/cron.d"}), before);
    }
};

}  // namespace zafo::rig
