// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/database_folder.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/server_account.h"
#include "base/unique_fd.h"
#include "tools/restore/durable_file.h"

namespace zafo::backup {

namespace {

namespace fs = std::filesystem;

using FileId = std::pair<dev_t, ino_t>;

constexpr std::chrono::milliseconds kPause{20};
// The loader of a killed restore may create another file or two before it sees the end of its
// input.
constexpr std::chrono::seconds kLoaderLimit{10};

std::string ParentOf(const std::string &path) {
    return fs::path(path).parent_path().string();
}

std::vector<FileId> OpenableFiles(const std::string &folder) {
    std::vector<FileId> files;
    for (const char *name : {kDataFile, kLockFile}) {
        struct stat facts {};
        if (stat((folder + "/" + name).c_str(), &facts) == 0)
            files.emplace_back(facts.st_dev, facts.st_ino);
    }
    return files;
}

// If the descriptors run out, it is unknown whether the folder is unused.
void RequireMeans(const std::error_code &error) {
    if (error && IsShortage(error.value()))
        throw RootError("cannot see which processes use the database", error.value());
}

bool HasOpen(const fs::path &process, const std::vector<FileId> &files) {
    std::error_code error;
    for (fs::directory_iterator at(process / "fd", error), end; !error && at != end;
         at.increment(error)) {
        struct stat facts {};
        if (stat(at->path().c_str(), &facts) != 0) continue;
        if (std::ranges::find(files, FileId(facts.st_dev, facts.st_ino)) != files.end())
            return true;
    }
    RequireMeans(error);
    return false;
}

// Readers and writers of an LMDB database lock the first byte of its lock file; the kernel reports
// the lock even when the process is not visible here.
std::optional<DatabaseUser> LockerOf(const std::string &folder) {
    const UniqueFd file(open((folder + "/" + kLockFile).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen() && IsShortage(errno))
        throw RootError("cannot see which processes use the database", errno);
    if (!file.IsOpen()) return std::nullopt;
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    if (fcntl(file.Get(), F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return std::nullopt;
    return DatabaseUser{};
}

}  // namespace

FolderId IdOf(const std::string &folder) {
    struct stat facts {};
    if (lstat(folder.c_str(), &facts) != 0) {
        if (errno == ENOENT) return 0;
        throw RootError("cannot examine " + folder, errno);
    }
    if (S_ISLNK(facts.st_mode)) throw JobError(Exit::kSystem, folder + " is a link, not a folder");
    if (!S_ISDIR(facts.st_mode)) throw JobError(Exit::kSystem, folder + " is not a folder");
    return facts.st_ino;
}

void GiveToServer(const std::string &path) {
    errno = 0;
    const passwd *user = getpwnam(kServerAccount);
    if (user == nullptr && IsShortage(errno))
        throw RootError("cannot give " + path + " to the directory server", errno);
    if (user == nullptr) return;
    // In an unprivileged user namespace the files already belong to the server's user.
    if (lchown(path.c_str(), user->pw_uid, user->pw_gid) != 0 && errno != EPERM && errno != EINVAL)
        throw RootError("cannot give " + path + " to the directory server", errno);
}

void MakeDatabaseFolder(const std::string &folder) {
    if (mkdir(folder.c_str(), 0700) != 0) throw RootError("cannot make " + folder, errno);
    GiveToServer(folder);
}

void SwapFolders(const std::string &one, const std::string &other) {
    if (renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) != 0)
        throw RootError(fmt::format("cannot exchange {} and {}", one, other), errno);
    SyncFolderOrThrow(ParentOf(one));
}

void RemoveFolder(const std::string &folder) {
    const auto end = std::chrono::steady_clock::now() + kLoaderLimit;
    std::error_code error;
    std::uintmax_t removed = fs::remove_all(folder, error);
    while (error == std::errc::directory_not_empty && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPause);
        removed = fs::remove_all(folder, error);
    }
    if (error) throw RootError("cannot remove " + folder, error.value());
    if (removed > 0) SyncFolderOrThrow(ParentOf(folder));
}

std::string DatabaseUser::Words() const {
    return pid > 0 ? fmt::format("process {} ({})", pid, program) : "another process";
}

std::optional<DatabaseUser> UserOf(const std::string &folder) {
    const std::vector<FileId> files = OpenableFiles(folder);
    if (files.empty()) return std::nullopt;
    std::error_code error;
    for (fs::directory_iterator at("/proc", error), end; !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename().string();
        const std::optional<pid_t> pid = WholeNumber<pid_t>(name);
        if (!pid || !HasOpen(at->path(), files)) continue;
        return DatabaseUser{*pid, fs::read_symlink(at->path() / "exe", error).filename().string()};
    }
    RequireMeans(error);
    return LockerOf(folder);
}

void AwaitUnused(const std::string &folder, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const std::optional<DatabaseUser> user = UserOf(folder);
        if (!user) return;
        if (std::chrono::steady_clock::now() >= end)
            throw JobError(Exit::kServer, fmt::format("the database in {} is in use by {}", folder,
                                                      user->Words()));
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace zafo::backup
