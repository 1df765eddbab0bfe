// SPDX-License-Identifier: Apache-2.0
//
// Exports of home folders mounted by the real mount(8); nothing may stay mounted after a test.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/user.h"

namespace zafo::test {

namespace fs = std::filesystem;

inline std::vector<std::string> LinesOf(const std::string &path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

class Exports {
  public:
    Exports() : mounts_(LinesOf(kMounts)) { fs::remove(kCalls); }
    ~Exports() {
        EXPECT_EQ(LinesOf(kMounts), mounts_) << "something is still mounted";
        for (const auto &entry : fs::directory_iterator("/")) {
            EXPECT_FALSE(entry.path().filename().string().starts_with("zafoldaphomefolder."))
                << "a mount point is left: " << entry.path();
        }
        for (const auto &entry : fs::directory_iterator(kRoot))
            fs::remove_all(entry.path());
    }
    Exports(const Exports &) = delete;
    Exports &operator=(const Exports &) = delete;

    // From now on "server" exports `path`. Returns the folder behind it.
    static fs::path Add(const std::string &path = "/homes", const std::string &host = "server") {
        const fs::path folder = std::string(kRoot) + "/" + host + path;
        fs::create_directories(folder);
        return folder;
    }

    // The quoted words of each mount(8) call; the host platform's own words precede the
    // library's.
    static std::vector<std::string> Mounted() { return LinesOf(kCalls); }
    static std::string MountPoint() { return "/zafoldaphomefolder." + std::to_string(getpid()); }
    static std::string MountCall(const std::string &what) {
        return "'/bin/mount' '-t' 'nfs' '-o' 'nosuid,nodev,noexec' '" + what + "' '" +
               MountPoint() + "'";
    }

  private:
    static constexpr const char *kRoot = "/var/lib/exports";
    static constexpr const char *kCalls = "/var/log/mounts";
    static constexpr const char *kMounts = "/proc/self/mounts";
    std::vector<std::string> mounts_;
};

// Owner, group and mode of a path, without following links.
struct Ownership {
    uid_t uid = 0;
    gid_t gid = 0;
    mode_t mode = 0;
    bool operator==(const Ownership &) const = default;
};
inline Ownership OwnershipOf(const fs::path &path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    return {status.st_uid, status.st_gid, status.st_mode};
}
inline void PrintTo(const Ownership &ownership, std::ostream *out) {
    *out << ownership.uid << ":" << ownership.gid << " " << std::oct << ownership.mode << std::dec;
}

// An ordinary user's private root maps only one user.
inline bool CanGiveFoldersAway() {
    const fs::path folder = "/tmp/given-away";
    fs::create_directory(folder);
    const bool given = lchown(folder.c_str(), 4001, 4002) == 0;
    fs::remove(folder);
    return given;
}
#define SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY() \
    if (!zafo::test::CanGiveFoldersAway()) GTEST_SKIP() << "this root has one user only"

inline constexpr Ownership kAnnsFolder{4001, 4002, S_IFDIR | 0700};

// A user with the numbers of the folder.
class User : public ZAFOUSER {
  public:
    explicit User(std::string name = "ann") : ZAFOUSER{}, name_(std::move(name)) {
        szName = name_.data();
        pw_uid = kAnnsFolder.uid;
        pw_gid = kAnnsFolder.gid;
    }
    User(const User &) = delete;
    User &operator=(const User &) = delete;

  private:
    std::string name_;
};

}  // namespace zafo::test
