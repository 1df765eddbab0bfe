// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/backup_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/atomic_file.h"
#include "tools/backup/archive_reader.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr std::string_view kExtension = ".tar.zst";
constexpr std::string_view kPartExtension = ".part";
constexpr std::size_t kNumberDigits = 6;
constexpr std::size_t kLongestPrefix = 64;
constexpr std::size_t kMostDigits = 18;
constexpr std::size_t kMostNotes = 5;

struct NameParts {
    std::uint64_t number = 0;
    std::int64_t written = 0;
};

struct FolderClose {
    void operator()(DIR *folder) const { closedir(folder); }
};

bool AreDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// The caller guarantees digits only.
std::uint64_t NumberOfDigits(std::string_view digits) {
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

// "20270228T140300Z"
std::optional<std::int64_t> TimeIn(std::string_view text) {
    if (text.size() != 16 || text[8] != 'T' || text[15] != 'Z' || !AreDigits(text.substr(0, 8)) ||
        !AreDigits(text.substr(9, 6)))
        return std::nullopt;
    const auto field = [&](std::size_t at, std::size_t size) {
        return static_cast<int>(NumberOfDigits(text.substr(at, size)));
    };
    std::tm wanted{};
    wanted.tm_year = field(0, 4) - 1900;
    wanted.tm_mon = field(4, 2) - 1;
    wanted.tm_mday = field(6, 2);
    wanted.tm_hour = field(9, 2);
    wanted.tm_min = field(11, 2);
    wanted.tm_sec = field(13, 2);
    std::tm real = wanted;
    const std::time_t time = timegm(&real);
    // timegm normalises invalid dates; 30 February is not a name of ours.
    const auto fields = [](const std::tm &tm) {
        return std::array{tm.tm_year, tm.tm_mon, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
    };
    if (fields(real) != fields(wanted)) return std::nullopt;
    return static_cast<std::int64_t>(time);
}

// std::nullopt: not a name of ours.
std::optional<NameParts> PartsOf(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kExtension)) return std::nullopt;
    name.remove_prefix(prefix.size());
    if (name.size() < kExtension.size() + 2 || name.front() != '-') return std::nullopt;
    name.remove_prefix(1);
    name.remove_suffix(kExtension.size());
    const std::size_t dash = name.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    const std::string_view number = name.substr(0, dash);
    const auto written = TimeIn(name.substr(dash + 1));
    const bool is_padded = number.size() == kNumberDigits || !number.starts_with('0');
    if (!written || !AreDigits(number) || number.size() < kNumberDigits ||
        number.size() > kMostDigits || !is_padded)
        return std::nullopt;
    return NameParts{NumberOfDigits(number), *written};
}

// Calls `take` for every name in the folder.
void ForEachName(const std::string &folder, const std::function<void(int, const char *)> &take) {
    const std::unique_ptr<DIR, FolderClose> open_folder(opendir(folder.c_str()));
    if (!open_folder) throw ReadingError(folder, errno);
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(open_folder.get());
        if (entry == nullptr && errno != 0) throw ReadingError(folder, errno);
        if (entry == nullptr) return;
        take(dirfd(open_folder.get()), entry->d_name);
    }
}

// Whether the file's writer is dead. Without file locks only this machine's jobs are known, and the
// caller holds their lock.
bool IsLeft(int fd) {
    return flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Network and removable file systems report arbitrary owners: even a file that root has just
// written may appear to be another user's.
bool KeepsOwners(int folder) {
    constexpr std::array<std::uint64_t, 9> kWithoutOwners = {
        0x6969,      // NFS
        0xFF534D42,  // CIFS
        0xFE534D42,  // SMB 2
        0x517B,      // SMB
        0x4D44,      // FAT
        0x2011BAB0,  // exFAT
        0x5346544E,  // NTFS
        0x7366746E,  // NTFS 3
        0x65735546,  // FUSE
    };
    struct statfs system {};
    if (fstatfs(folder, &system) != 0) return true;
    return std::ranges::find(kWithoutOwners, static_cast<std::uint32_t>(system.f_type)) ==
           kWithoutOwners.end();
}

bool IsOurs(int folder, const struct stat &status) {
    return status.st_uid == 0 || status.st_uid == geteuid() || !KeepsOwners(folder);
}

// Why a file with a name of ours is not one of our backups; empty if it is.
std::string FaultOf(int folder, int file, const NameParts &parts, struct stat *status) {
    if (file < 0) {
        if (IsShortage(errno)) throw SystemError(Exit::kSystem, "cannot examine backups", errno);
        return fmt::format("it cannot be read: {}", std::strerror(errno));
    }
    if (fstat(file, status) != 0 || !S_ISREG(status->st_mode)) return "it is not a file";
    if (!IsOurs(folder, *status))
        return fmt::format("it belongs to user {}, not to root", status->st_uid);
    if (parts.number > kHighestNumber) return "its number is too high for a backup";
    return FaultOfHead(file);
}

bool IsAt(int file, const std::string &path) {
    struct stat own {};
    struct stat there {};
    return fstat(file, &own) == 0 && lstat(path.c_str(), &there) == 0 &&
           own.st_dev == there.st_dev && own.st_ino == there.st_ino;
}

}  // namespace

FolderContents LookInto(const std::string &folder, std::string_view prefix) {
    FolderContents contents;
    ForEachName(folder, [&](int in, const char *name) {
        const std::optional<NameParts> parts = PartsOf(name, prefix);
        struct stat status {};
        if (!parts || fstatat(in, name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(status.st_mode))
            return;
        const std::string path = fmt::format("{}/{}", folder, name);
        const UniqueFd fd(openat(in, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        std::string reason = FaultOf(in, fd.Get(), *parts, &status);
        if (!reason.empty()) {
            contents.passed_over.push_back({path, std::move(reason)});
            return;
        }
        contents.backups.push_back(
            {path, parts->number, parts->written, static_cast<std::uint64_t>(status.st_size)});
    });
    std::ranges::sort(contents.backups, std::greater(),
                      [](const FoundBackup &one) { return std::pair(one.number, one.written); });
    std::ranges::sort(contents.passed_over, std::less(), &PassedOver::path);
    return contents;
}

std::vector<FoundBackup> BackupsIn(const std::string &folder, std::string_view prefix) {
    return LookInto(folder, prefix).backups;
}

std::vector<std::string> InWords(const std::vector<PassedOver> &passed_over) {
    std::vector<std::string> lines;
    for (const PassedOver &one : passed_over) {
        if (lines.size() == kMostNotes) break;
        lines.push_back(fmt::format("{} does not count: {}", OneLine(one.path), one.reason));
    }
    if (passed_over.size() > lines.size())
        lines.push_back(
            fmt::format("{} more files there do not count", passed_over.size() - lines.size()));
    return lines;
}

std::vector<std::string> Thin(const std::string &folder, std::string_view prefix,
                              std::uint64_t keep) {
    std::vector<std::string> gone;
    const std::vector<FoundBackup> found = BackupsIn(folder, prefix);
    for (std::size_t i = std::max<std::uint64_t>(keep, 1); i < found.size(); ++i) {
        const std::string &path = found[i].path;
        if (unlink(path.c_str()) != 0 && errno != ENOENT) throw WritingError(path, errno);
        gone.push_back(path);
    }
    return gone;
}

std::string BackupName(std::string_view prefix, std::uint64_t number, std::time_t written) {
    std::tm utc{};
    gmtime_r(&written, &utc);
    std::array<char, 32> time{};
    std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", &utc);
    return fmt::format("{}-{:0{}}-{}{}", prefix, number, kNumberDigits, time.data(), kExtension);
}

bool IsPrefix(std::string_view prefix) {
    const auto is_plain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-';
    };
    return !prefix.empty() && prefix.size() <= kLongestPrefix &&
           std::ranges::all_of(prefix, is_plain);
}

std::uint64_t NextNumber(const std::vector<FoundBackup> &found) {
    if (found.empty()) return 1;
    if (found.front().number >= kHighestNumber)
        throw JobError(
            Exit::kSystem,
            fmt::format(
                "{} has the highest number that a backup can have: move it to another folder",
                found.front().path));
    return found.front().number + 1;
}

PartFile::PartFile(std::string folder, std::string name)
    : folder_(std::move(folder)),
      name_(std::move(name)),
      path_(fmt::format("{}/.{}{}", folder_, name_, kPartExtension)),
      fd_(open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    if (!fd_.IsOpen()) throw WritingError(path_, errno);
    flock(fd_.Get(), LOCK_EX | LOCK_NB);
}

PartFile::~PartFile() {
    if (!kept_) unlink(path_.c_str());
}

void PartFile::Sync() {
    if (fsync(fd_.Get()) != 0) throw WritingError(path_, errno);
}

const std::string &PartFile::PutInPlace() {
    const std::string place = fmt::format("{}/{}", folder_, name_);
    int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE);
    // Network file systems may not support the flag; the number in the name is unused there too.
    if (result != 0 && (errno == EINVAL || errno == ENOSYS))
        result = rename(path_.c_str(), place.c_str());
    if (result != 0) throw WritingError(place, errno);
    path_ = place;
    kept_ = !IsAt(fd_.Get(), place);
    if (kept_)
        throw JobError(
            Exit::kSystem,
            place + " is not the file that was written: somebody else is writing to the folder");
    // Not every file system can sync a folder.
    const int error = SyncFolder(folder_);
    if (error != 0 && error != EINVAL && error != ENOTSUP) throw WritingError(folder_, error);
    kept_ = true;
    flock(fd_.Get(), LOCK_UN);
    return path_;
}

void RemoveLeftParts(const std::string &folder, std::string_view prefix) {
    ForEachName(folder, [&](int in, const char *entry) {
        std::string_view name = entry;
        if (!name.starts_with('.') || !name.ends_with(kPartExtension)) return;
        name.remove_prefix(1);
        name.remove_suffix(std::min(name.size(), kPartExtension.size()));
        if (!PartsOf(name, prefix)) return;
        const UniqueFd fd(openat(in, entry, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status {};
        if (fd.IsOpen() && fstat(fd.Get(), &status) == 0 && S_ISREG(status.st_mode) &&
            IsOurs(in, status) && IsLeft(fd.Get()))
            unlinkat(in, entry, 0);
    });
}

}  // namespace zafo::backup
