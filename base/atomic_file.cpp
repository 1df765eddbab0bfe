// SPDX-License-Identifier: Apache-2.0
#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/write_all.h"

namespace zafo {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;

// The target of symbolic links, whether or not it exists yet.
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

UniqueFd Create(const std::string &path) {
    return UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
}

int SyncPath(const std::string &path, int flags) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
    return fd.IsOpen() && fsync(fd.Get()) == 0 ? 0 : errno;
}

}  // namespace

AtomicFile::AtomicFile(std::string path, const char *suffix)
    : path_(std::move(path)), aside_(path_ + suffix) {
    fd_ = Create(aside_);
    if (!fd_.IsOpen() && errno == EEXIST && unlink(aside_.c_str()) == 0) fd_ = Create(aside_);
    Keep(fd_.IsOpen());
}

AtomicFile::~AtomicFile() {
    if (fd_.IsOpen()) unlink(aside_.c_str());
}

void AtomicFile::Keep(bool succeeded) {
    if (!succeeded) error_ = errno;
}

void AtomicFile::Write(std::string_view text) {
    if (error_ == 0) Keep(WriteAll(fd_.Get(), text));
}

void AtomicFile::SetMode(mode_t mode) {
    if (error_ == 0) Keep(fchmod(fd_.Get(), mode) == 0);
}

void AtomicFile::SetOwner(uid_t user, gid_t group) {
    if (error_ == 0) Keep(fchown(fd_.Get(), user, group) == 0 || errno == EPERM);
}

void AtomicFile::LetRead(gid_t group) {
    if (error_ == 0 && fchown(fd_.Get(), static_cast<uid_t>(-1), group) == 0) SetMode(0640);
}

int AtomicFile::Commit() {
    if (error_ == 0) Keep(fsync(fd_.Get()) == 0);
    return CommitUnsynced() == 0 ? SyncFolderOf(path_) : error_;
}

int AtomicFile::CommitUnsynced() {
    if (error_ == 0) Keep(rename(aside_.c_str(), path_.c_str()) == 0);
    if (error_ == 0) fd_.Reset(-1);
    return error_;
}

int SyncFile(const std::string &path) {
    return SyncPath(path, O_NOFOLLOW | O_NONBLOCK);
}

int SyncFolder(const std::string &folder) {
    return SyncPath(folder, O_DIRECTORY);
}

int SyncFolderOf(const std::string &path) {
    const fs::path folder = fs::path(path).parent_path();
    return SyncFolder(folder.empty() ? "." : folder.string());
}

int ReplaceWhole(const std::string &path, std::string_view text) {
    struct stat status {};
    const std::string real = FollowLinks(path);
    if (stat(real.c_str(), &status) != 0) return errno;
    AtomicFile file(real);
    file.Write(text);
    file.SetOwner(status.st_uid, status.st_gid);
    file.SetMode(status.st_mode & 07777);
    return file.Commit();
}

FileUpdate::FileUpdate(const std::string &path) : FileUpdate(path, UniqueFd()) {
    const std::string lock = path_ + ".lock";
    lock_.Reset(open(lock.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    int result = -1;
    do {
        result = lock_.IsOpen() ? flock(lock_.Get(), LOCK_EX) : -1;
    } while (result != 0 && lock_.IsOpen() && errno == EINTR);
    error_ = result == 0 ? 0 : errno;
}

FileUpdate::FileUpdate(const std::string &path, UniqueFd lock)
    : path_(FollowLinks(path)),
      lock_(std::move(lock)),
      private_(StandsBelowPrivate(path) || StandsBelowPrivate(path_)),
      error_(lock_.IsOpen() ? 0 : EBADF) {}

int FileUpdate::Replace(std::string_view text, mode_t mode) {
    struct stat status {};
    const bool exists = !own_ && stat(path_.c_str(), &status) == 0;
    if (own_) mode = *own_;
    if (exists) mode = status.st_mode & 07777;
    if (private_) mode = 0600;
    AtomicFile file(path_);
    file.Write(text);
    if (exists) file.SetOwner(status.st_uid, status.st_gid);
    file.SetMode(mode);
    if (reader_) file.LetRead(*reader_);
    return file.Commit();
}

}  // namespace zafo
