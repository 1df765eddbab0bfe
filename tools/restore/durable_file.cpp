// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/durable_file.h"

#include "host/core/unique_fd.h"
#include "platform/ldap.h"
#include "tools/backup/child.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>

namespace zafo::backup {

namespace {

std::string ParentOf(const std::string &path) {
    return std::filesystem::path(path).parent_path().string();
}

void Sync(const std::string &path, int flags) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | flags));
    if (!fd.IsOpen() || fsync(fd.Get()) != 0)
        throw RootProblem("cannot bring " + path + " to the disk", errno);
}

// A file that is not put in place goes with its owner.
class AsideFile {
  public:
    AsideFile(std::string path, UniqueFd fd) : path_(std::move(path)), fd_(std::move(fd)) {
        if (!fd_.IsOpen()) throw RootProblem("cannot create " + path_, errno);
    }
    ~AsideFile() {
        if (!placed_) unlink(path_.c_str());
    }
    AsideFile(const AsideFile &) = delete;
    AsideFile &operator=(const AsideFile &) = delete;

    void PutInPlace(const std::string &path, std::string_view text) {
        for (std::string_view rest = text; !rest.empty();) {
            const ssize_t n = write(fd_.Get(), rest.data(), rest.size());
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) throw RootProblem("cannot write " + path, errno);
            rest.remove_prefix(static_cast<std::size_t>(n));
        }
        if (fsync(fd_.Get()) != 0 || rename(path_.c_str(), path.c_str()) != 0)
            throw RootProblem("cannot write " + path, errno);
        placed_ = true;
        SyncFolder(ParentOf(path));
    }

  private:
    std::string path_;
    UniqueFd fd_;
    bool placed_ = false;
};

}  // namespace

Problem RootProblem(const std::string &doing, int reason) {
    const bool full = reason == ENOSPC || reason == EDQUOT;
    return SystemProblem(full ? Exit::kRootFullWhileWriting : Exit::kSystem, doing, reason);
}

void SyncFolder(const std::string &folder) {
    Sync(folder, O_DIRECTORY);
}

void SyncFile(const std::string &path) {
    Sync(path, 0);
}

void WriteDurably(const std::string &path, std::string_view text) {
    const std::string aside = path + ".part";
    unlink(aside.c_str());
    AsideFile file(
        aside,
        UniqueFd(open(aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)));
    file.PutInPlace(path, text);
}

void WriteConfigurationDurably(const std::string &path, std::string_view text) {
    std::array<char, PATH_MAX> aside{};
    if (ZAFOLDAPGenTmpConf(path.c_str(), 0, aside.data(), aside.size()) != 0)
        throw RootProblem("cannot create " + path, errno);
    AsideFile file(aside.data(), UniqueFd(open(aside.data(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC)));
    file.PutInPlace(path, text);
}

void RemoveDurably(const std::string &path) {
    if (unlink(path.c_str()) != 0) {
        if (errno == ENOENT) return;
        throw RootProblem("cannot remove " + path, errno);
    }
    SyncFolder(ParentOf(path));
}

}  // namespace zafo::backup
