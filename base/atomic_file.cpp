// SPDX-License-Identifier: Apache-2.0
#include "base/atomic_file.h"

#include "platform/error.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace zafo {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;

// The name behind symbolic links, also when nothing stands there yet.
std::string FollowLinks(const std::string &path) {
    fs::path real(path);
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(real, error); ++i) {
        const fs::path target = fs::read_symlink(real, error);
        if (error) break;
        real = real.parent_path() / target;
    }
    return real.string();
}

bool StandsBelowPrivate(const std::string &path) {
    std::error_code error;
    const fs::path folder = fs::absolute(path, error).parent_path();
    return std::find(folder.begin(), folder.end(), "private") != folder.end();
}

int SyncFolderOf(const std::string &path) {
    const fs::path folder = fs::path(path).parent_path();
    const UniqueFd fd(
        open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.IsOpen() && fsync(fd.Get()) == 0 ? 0 : QLIB_ERR_WRITE_FAILED;
}

// A file under construction, removed unless it was moved into place.
class NewFile {
  public:
    // One that a killed writer left behind is removed first: the lock keeps everyone else away.
    explicit NewFile(std::string path) : path_(std::move(path)) {
        unlink(path_.c_str());
        fd_.Reset(open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() {
        if (fd_.IsOpen()) unlink(path_.c_str());
    }

    bool Write(std::string_view text, mode_t mode, const struct stat *previous,
               std::optional<gid_t> reader) {
        if (!fd_.IsOpen() || !WriteAll(fd_.Get(), text)) return false;
        if (previous != nullptr && fchown(fd_.Get(), previous->st_uid, previous->st_gid) != 0 &&
            errno != EPERM) {
            return false;
        }
        if (reader && fchown(fd_.Get(), static_cast<uid_t>(-1), *reader) == 0) mode = 0640;
        return fchmod(fd_.Get(), mode) == 0 && fsync(fd_.Get()) == 0;
    }

    bool MoveTo(const std::string &path) {
        if (rename(path_.c_str(), path.c_str()) != 0) return false;
        fd_.Reset(-1);
        return true;
    }

  private:
    std::string path_;
    UniqueFd fd_;
};

}  // namespace

bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

ReadResult ReadWhole(const std::string &path, std::string *text) {
    // Not blocking: the name may be a pipe's, which is no file.
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.IsOpen()) return errno == ENOENT ? ReadResult::kAbsent : ReadResult::kNotReadable;
    struct stat status {};
    if (fstat(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return ReadResult::kReadFailed;
    text->clear();
    text->reserve(static_cast<size_t>(status.st_size) + 1);
    for (;;) {
        char part[16384];
        const ssize_t n = read(fd.Get(), part, sizeof part);
        if (n == 0) return ReadResult::kDone;
        if (n > 0) {
            text->append(part, static_cast<size_t>(n));
        } else if (errno != EINTR) {
            return ReadResult::kReadFailed;
        }
    }
}

int ReplaceWhole(const std::string &path, std::string_view text) {
    struct stat status {};
    const std::string real = FollowLinks(path);
    if (stat(real.c_str(), &status) != 0) return QLIB_ERR_WRITE_FAILED;
    NewFile file(real + ".new");
    if (!file.Write(text, status.st_mode & 07777, &status, {}) || !file.MoveTo(real)) {
        return QLIB_ERR_WRITE_FAILED;
    }
    return SyncFolderOf(real);
}

FileUpdate::FileUpdate(const std::string &path)
    : path_(FollowLinks(path)), private_(StandsBelowPrivate(path) || StandsBelowPrivate(path_)) {
    const std::string lock = path_ + ".lock";
    lock_.Reset(open(lock.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    int result = -1;
    do {
        result = lock_.IsOpen() ? flock(lock_.Get(), LOCK_EX) : -1;
    } while (result != 0 && lock_.IsOpen() && errno == EINTR);
    if (result != 0) error_ = QLIB_ERR_OPEN_FAILED;
}

FileUpdate::FileUpdate(const std::string &path, UniqueFd lock)
    : path_(FollowLinks(path)),
      lock_(std::move(lock)),
      private_(StandsBelowPrivate(path) || StandsBelowPrivate(path_)),
      error_(lock_.IsOpen() ? 0 : QLIB_ERR_OPEN_FAILED) {}

int FileUpdate::Replace(std::string_view text, mode_t mode) {
    struct stat status {};
    const bool exists = !own_ && stat(path_.c_str(), &status) == 0;
    if (own_) mode = *own_;
    if (exists) mode = status.st_mode & 07777;
    if (private_) mode = 0600;
    NewFile file(path_ + ".new");
    if (!file.Write(text, mode, exists ? &status : nullptr, reader_) || !file.MoveTo(path_)) {
        return QLIB_ERR_WRITE_FAILED;
    }
    return SyncFolderOf(path_);
}

}  // namespace zafo
