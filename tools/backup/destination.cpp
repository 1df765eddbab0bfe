// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/destination.h"

#include "tools/backup/problem.h"
#include "tools/zafoldapserver/server_paths.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace zafo::backup {

namespace {

constexpr std::uint64_t kSpare = 4U << 20;
constexpr double kMebibyte = 1U << 20;
constexpr std::uint64_t kStatBlock = 512;  // stat(2), whatever the file system's own is

[[noreturn]] void Refuse(const std::string &folder, std::string_view reason) {
    throw Problem(Exit::kBadPlace,
                  fmt::format("backups cannot be written into {}: {}", OneLine(folder), reason));
}

// Without links; empty when it does not exist.
std::string RealPath(const std::string &path) {
    const std::unique_ptr<char, void (*)(void *)> real(realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : "";
}

bool IsWithin(const std::string &path, const std::string &folder) {
    return !folder.empty() && (path == folder || path.starts_with(folder + "/"));
}

std::uint64_t DatabaseBytes() {
    struct stat status {};
    if (stat(cli::kDataFile, &status) != 0) return 0;
    return static_cast<std::uint64_t>(status.st_blocks) * kStatBlock;
}

std::string InMebibytes(std::uint64_t bytes) {
    return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / kMebibyte);
}

}  // namespace

void CheckDestination(const std::string &folder) {
    if (folder.empty())
        throw Problem(Exit::kBadPlace, "no folder for backups is set (LDAP_BKP_DEST_DIR)");
    if (folder.front() != '/') Refuse(folder, "it is no absolute path");
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) throw WritingProblem(folder, errno);
    if (S_ISLNK(status.st_mode)) Refuse(folder, "it is a link");
    if (!S_ISDIR(status.st_mode)) Refuse(folder, "it is no folder");
    if (access(folder.c_str(), R_OK | W_OK | X_OK) != 0) throw WritingProblem(folder, errno);
    // The server's folder is emptied and exchanged as a whole.
    if (IsWithin(RealPath(folder), RealPath(cli::kDataFolder)))
        Refuse(folder, "it is inside the database");
}

std::uint64_t NeededBytes(const std::vector<FoundBackup> &found, std::uint64_t database_bytes) {
    const std::uint64_t expected =
        found.empty() ? database_bytes / 4 : found.front().bytes + found.front().bytes / 10;
    return expected + kSpare;
}

void CheckSpace(const std::string &folder, const std::vector<FoundBackup> &found) {
    struct statvfs space {};
    if (statvfs(folder.c_str(), &space) != 0) throw WritingProblem(folder, errno);
    if (space.f_blocks == 0) return;  // a file system that does not tell
    const std::uint64_t left = static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
    const std::uint64_t needed = NeededBytes(found, DatabaseBytes());
    if (left >= needed) return;
    throw Problem(Exit::kTooFull,
                  fmt::format("{} has too little space: about {} are needed, {} are left", folder,
                              InMebibytes(needed), InMebibytes(left)));
}

}  // namespace zafo::backup
