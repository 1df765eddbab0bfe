// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/durable_file.h"

#include "base/unique_fd.h"
#include "host/server_account.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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
        throw RootProblem("cannot sync " + path + " to the disk", errno);
}

// A file that is not put in place goes with its owner.
class AsideFile {
  public:
    explicit AsideFile(const std::string &path) : path_(path), aside_(path + kUnfinished) {
        unlink(aside_.c_str());
        fd_.Reset(open(aside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!fd_.IsOpen()) throw RootProblem("cannot create " + aside_, errno);
    }
    ~AsideFile() {
        if (!placed_) unlink(aside_.c_str());
    }
    AsideFile(const AsideFile &) = delete;
    AsideFile &operator=(const AsideFile &) = delete;

    void LetServerRead() const {
        const group *server = getgrnam(kServerAccount);
        if (server != nullptr && fchown(fd_.Get(), static_cast<uid_t>(-1), server->gr_gid) == 0)
            fchmod(fd_.Get(), 0640);
    }

    void PutInPlace(std::string_view text) {
        while (!text.empty()) {
            const ssize_t n = write(fd_.Get(), text.data(), text.size());
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) throw RootProblem("cannot write " + path_, errno);
            text.remove_prefix(static_cast<std::size_t>(n));
        }
        if (fsync(fd_.Get()) != 0 || rename(aside_.c_str(), path_.c_str()) != 0)
            throw RootProblem("cannot write " + path_, errno);
        placed_ = true;
        SyncFolder(ParentOf(path_));
    }

  private:
    std::string path_;
    std::string aside_;
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
    AsideFile(path).PutInPlace(text);
}

void WriteConfigurationDurably(const std::string &path, std::string_view text) {
    AsideFile file(path);
    file.LetServerRead();
    file.PutInPlace(text);
}

void RemoveDurably(const std::string &path) {
    if (unlink(path.c_str()) != 0) {
        if (errno == ENOENT) return;
        throw RootProblem("cannot remove " + path, errno);
    }
    SyncFolder(ParentOf(path));
}

}  // namespace zafo::backup
