// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/destination.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "tools/backup/job_error.h"
#include "tools/cli/display_text.h"

namespace zafo::backup {

namespace {

constexpr std::uint64_t kSpare = 4U << 20;
constexpr double kMebibyte = 1U << 20;

[[noreturn]] void Refuse(const std::string &folder, std::string_view reason) {
    throw JobError(Exit::kBadPlace,
                   fmt::format("backups cannot be written to {}: {}", OneLine(folder), reason));
}

// The path with links resolved; empty when it does not exist.
std::string RealPath(const std::string &path) {
    const std::unique_ptr<char, void (*)(void *)> real(realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : "";
}

bool IsWithin(const std::string &path, const std::string &folder) {
    return !folder.empty() && (path == folder || path.starts_with(folder + "/"));
}

std::string InMebibytes(std::uint64_t bytes) {
    return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / kMebibyte);
}

// "/", "/volume1", "/volume1/backups"
void AddWithParents(std::string_view path, std::vector<std::string> *folders) {
    for (std::size_t end = 0; end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        const std::string one(path.substr(0, end));
        for (const std::string &folder : {std::string("/"), one}) {
            if (std::ranges::find(*folders, folder) == folders->end()) folders->push_back(folder);
        }
    }
}

void AddExposures(const std::string &path, bool is_the_folder, std::vector<Exposure> *found) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return;
    const std::string shown = OneLine(path);
    if (status.st_uid != 0 && status.st_uid != geteuid())
        found->push_back({fmt::format("{} belongs to user {}", shown, status.st_uid),
                          fmt::format("chown -h root {}", cli::CommandWord(path))});
    const bool is_kept = !is_the_folder && (status.st_mode & S_ISVTX) != 0;
    if (S_ISLNK(status.st_mode) || is_kept) return;
    const mode_t others = status.st_gid == 0 ? S_IWOTH : S_IWOTH | S_IWGRP;
    if ((status.st_mode & others) == 0) return;
    const bool everybody = (status.st_mode & S_IWOTH) != 0;
    found->push_back({everybody ? shown + " is writable by everybody"
                                : fmt::format("{} is writable by group {}", shown, status.st_gid),
                      fmt::format("chmod go-w {}", cli::CommandWord(path))});
}

}  // namespace

std::vector<Exposure> ExposuresOf(const std::string &folder) {
    std::vector<std::string> folders;
    AddWithParents(folder, &folders);
    AddWithParents(RealPath(folder), &folders);
    std::vector<Exposure> found;
    for (const std::string &path : folders)
        AddExposures(path, path == folder || path == RealPath(folder), &found);
    return found;
}

void CheckDestination(const std::string &folder) {
    if (folder.empty())
        throw JobError(Exit::kBadPlace, "no backup folder is set (LDAP_BKP_DEST_DIR)");
    if (folder.front() != '/') Refuse(folder, "it is not an absolute path");
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) throw WritingError(folder, errno);
    if (S_ISLNK(status.st_mode)) Refuse(folder, "it is a link");
    if (!S_ISDIR(status.st_mode)) Refuse(folder, "it is not a folder");
    if (access(folder.c_str(), R_OK | W_OK | X_OK) != 0) throw WritingError(folder, errno);
    // The database folder is emptied and swapped as a whole.
    if (IsWithin(RealPath(folder), RealPath(kDatabaseFolder)))
        Refuse(folder, "it is inside the database");
}

std::optional<std::uint64_t> AllocatedSize(const char *path) {
    constexpr std::uint64_t kBlock = 512;  // unit of st_blocks, see stat(2)
    struct stat status {};
    if (stat(path, &status) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_blocks) * kBlock;
}

std::uint64_t NeededBytes(const std::vector<FoundBackup> &found, std::uint64_t database_bytes) {
    const std::uint64_t expected =
        found.empty() ? database_bytes / 4 : found.front().bytes + found.front().bytes / 10;
    return expected + kSpare;
}

void CheckSpace(const std::string &folder, const std::vector<FoundBackup> &found) {
    struct statvfs space {};
    if (statvfs(folder.c_str(), &space) != 0) throw WritingError(folder, errno);
    if (space.f_blocks == 0) return;  // the file system does not report its size
    const std::uint64_t left = static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
    const std::uint64_t needed = NeededBytes(found, AllocatedSize(kDatabaseFile).value_or(0));
    if (left >= needed) return;
    throw JobError(Exit::kTooFull, fmt::format("{} has too little space: about {} needed, {} left",
                                               folder, InMebibytes(needed), InMebibytes(left)));
}

}  // namespace zafo::backup
