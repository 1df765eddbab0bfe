// SPDX-License-Identifier: Apache-2.0
//
// In "/tmp" a stranger can get there first, with a locked file of his own, a link or a folder. Root
// replaces it atomically with its own file (RENAME_EXCHANGE), leaving no moment in which the
// stranger could step in again. Processes that create or replace a lock file take turns, so none
// removes a file that another has just created and locked.
#include "src/frame/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "src/frame/log.h"

namespace zafo {

namespace {

constexpr int kFlags = O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kMode = 0600;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr int kTries = 100;

// In root's own folder, and held only for a few system calls, so a short wait is enough.
constexpr const char *kTurnFile = "/var/run/zafoldap.turn.lock";
constexpr int kTurnTries = 200;
constexpr timespec kTurnPause{.tv_sec = 0, .tv_nsec = 1'000'000};

bool Lock(const UniqueFd &turn) {
    for (int i = 0; flock(turn.Get(), LOCK_EX | LOCK_NB) != 0; ++i) {
        if (i == kTurnTries) return false;
        nanosleep(&kTurnPause, nullptr);
    }
    return true;
}

std::string FolderOf(const std::string &path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A name beside `path` that nobody can have guessed.
std::string NameBeside(const std::string &path) {
    uint64_t random = 0;
    if (getrandom(&random, sizeof random, 0) != sizeof random) return {};
    char suffix[32];
    snprintf(suffix, sizeof suffix, ".%016llx", static_cast<unsigned long long>(random));
    return path + suffix;
}

bool Exchange(const std::string &one, const std::string &other) {
    return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

}  // namespace

LockFile::LockFile(const char *path) : path_(path) {
    struct stat folder {};
    is_shared_ = stat(FolderOf(path_).c_str(), &folder) == 0 && IsShared(folder);
}

// Others cannot open such a file, so they cannot hold a lock on it.
bool LockFile::Counts(const struct stat &status) const {
    return IsOwnFile(status) && (status.st_mode & kOthers) == 0;
}

// Only what a stranger can have put there is replaced. Anything else of root's stays: a wrong path
// must not cost a folder.
bool LockFile::MayReplace(const struct stat &status) const {
    if (geteuid() != 0) return false;
    if (!IsOurs(status) || S_ISREG(status.st_mode)) return true;
    return !S_ISDIR(status.st_mode) && status.st_nlink > 1;
}

UniqueFd LockFile::OpenExisting() const {
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0) return UniqueFd();
    if (!Counts(status)) {
        errno = EEXIST;
        return UniqueFd();
    }
    UniqueFd file(open(path_.c_str(), kFlags));
    if (!file.IsOpen() || (fstat(file.Get(), &status) == 0 && Counts(status))) return file;
    errno = EEXIST;
    return UniqueFd();
}

// Removes what was in the way, now under a name that only root knew.
void LockFile::Discard(const std::string &aside) const {
    struct stat status {};
    if (lstat(aside.c_str(), &status) != 0) return;
    const std::string what = WhatItIs(status);
    const bool is_folder = S_ISDIR(status.st_mode);
    if ((is_folder ? rmdir(aside.c_str()) : unlink(aside.c_str())) == 0) {
        ZAFO_LOG("lock file %s: %s was in the way and has been removed", path_.c_str(),
                 what.c_str());
    } else {
        ZAFO_LOG("lock file %s: %s was in the way and is %s now", path_.c_str(), what.c_str(),
                 aside.c_str());
    }
}

UniqueFd LockFile::Replace() const {
    const std::string aside = NameBeside(path_);
    if (aside.empty()) return UniqueFd();
    UniqueFd file(open(aside.c_str(), kFlags | O_CREAT | O_EXCL, kMode));
    if (!file.IsOpen()) return file;
    if (Exchange(aside, path_)) {
        Discard(aside);
        return file;
    }
    const int reason = errno;
    unlink(aside.c_str());
    errno = reason;
    return UniqueFd();
}

// Creates the file, or replaces whatever else has its name.
UniqueFd LockFile::OpenInTurn() const {
    // Without the turn file nothing is replaced; creating the lock file does not need it.
    const UniqueFd turn(geteuid() == 0 ? open(kTurnFile, kFlags | O_CREAT, kMode) : -1);
    if (turn.IsOpen() && !Lock(turn)) return UniqueFd();
    for (int i = 0; i < kTries; ++i) {
        UniqueFd file = OpenExisting();
        if (file.IsOpen()) return file;
        if (errno == ENOENT) {
            file = UniqueFd(open(path_.c_str(), kFlags | O_CREAT | O_EXCL, kMode));
            if (file.IsOpen() || errno != EEXIST) return file;
            continue;
        }
        if (errno != EEXIST) return file;
        struct stat status {};
        if (lstat(path_.c_str(), &status) != 0 || Counts(status)) continue;
        if (!turn.IsOpen() || !MayReplace(status)) {
            ZAFO_LOG("lock file %s: %s is in the way", path_.c_str(), WhatItIs(status).c_str());
            errno = EEXIST;
            return UniqueFd();
        }
        file = Replace();
        if (file.IsOpen() || errno != ENOENT) return file;
    }
    return UniqueFd();
}

UniqueFd LockFile::Open() {
    if (!is_shared_) return UniqueFd(open(path_.c_str(), kFlags | O_CREAT, kMode));
    UniqueFd file = OpenExisting();
    if (file.IsOpen() || (errno != ENOENT && errno != EEXIST)) return file;
    return OpenInTurn();
}

bool LockFile::IsInPlace(const UniqueFd &file) const {
    if (!is_shared_) return true;
    struct stat opened {
    }, named{};
    return fstat(file.Get(), &opened) == 0 && lstat(path_.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace zafo
