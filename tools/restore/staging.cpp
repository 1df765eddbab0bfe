// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/staging.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/unique_fd.h"
#include "base/write_all.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/loading_configuration.h"

namespace zafo::backup {

namespace {

namespace fs = std::filesystem;

// Settings that a database folder may hold besides the database.
constexpr const char *kSettingsFile = "DB_CONFIG";
constexpr off_t kLongestSettings = 1 << 20;
constexpr const char *kLoadingFile = "loading.conf";
constexpr const char *kLoadingRules = "loading-acls.conf";

bool Says(std::string_view words, std::string_view what) {
    return words.find(what) != std::string_view::npos;
}

void Give(const std::string &path, std::string_view text) {
    WriteDurably(path, text);
    GiveToServer(path);
}

void CopySettings(const Places &places) {
    const fs::path from = fs::path(places.data) / kSettingsFile;
    const fs::path to = fs::path(places.spare) / kSettingsFile;
    // The folder belongs to the server's unprivileged user: links in it are not followed.
    const UniqueFd file(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    std::string text(static_cast<std::size_t>(std::min<off_t>(status.st_size, kLongestSettings)),
                     '\0');
    const ssize_t n = pread(file.Get(), text.data(), text.size(), 0);
    if (n < 0) throw RootError("cannot read " + from.string(), errno);
    text.resize(static_cast<std::size_t>(n));
    Give(to, text);
}

}  // namespace

std::uint64_t RoomFor(std::uint64_t ldif_bytes) {
    return ldif_bytes * 4 + (1U << 20);
}

// --- The folder ---------------------------------------------------------------

SpareFolder::SpareFolder(std::string path) : path_(std::move(path)) {
    MakeDatabaseFolder(path_);
}

SpareFolder::~SpareFolder() {
    if (released_) return;
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Staging::Staging(const Places &places, std::string_view configuration,
                 const std::optional<std::string> &rules)
    : places_(places),
      folder_(places.spare),
      configuration_(places.spare + "/" + kLoadingFile),
      rules_(places.spare + "/" + kLoadingRules) {
    LoadingChange change{.directory = places_.data, .new_directory = places_.spare};
    if (rules) {
        change.include = kAccessRules;
        change.new_include = rules_;
        Give(rules_, *rules);
    }
    Give(configuration_, LoadingConfiguration(configuration, change));
}

void Staging::Trim() const {
    const std::string path = places_.spare + "/" + kDataFile;
    const UniqueFd file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen()) throw RootError("cannot open " + path, errno);
    off_t end = 0;
    for (off_t data = 0; (data = lseek(file.Get(), end, SEEK_DATA)) >= 0;)
        end = lseek(file.Get(), data, SEEK_HOLE);
    if (end > 0 && ftruncate(file.Get(), end) != 0)
        throw RootError("cannot truncate " + path, errno);
}

void Staging::Verify(std::uint64_t entries, const std::string &suffix,
                     const std::function<void(std::uint64_t)> &tick) const {
    Pipe pipe = MakePipe();
    Child slapcat({.argv = {kSlapcat, "-f", configuration_}, .output = pipe.writer.Get()});
    pipe.writer.Reset(-1);
    EntryScan scan(suffix);
    std::vector<char> block(1U << 20);
    for (ssize_t n = 0; (n = ReadSome(pipe.reader.Get(), block.data(), block.size())) > 0;) {
        scan.Add({block.data(), static_cast<std::size_t>(n)});
        tick(scan.Entries());
    }
    const int status = slapcat.Wait();
    EndIfStopped();
    if (status != 0)
        throw JobError(Exit::kSystem, fmt::format("the loaded database cannot be read: {} ({})",
                                                  OneLine(slapcat.Words()), StatusInWords(status)));
    if (scan.Entries() != entries || !scan.IsComplete())
        throw JobError(Exit::kDamaged, fmt::format("{} entries were loaded, the backup has {}",
                                                   scan.Entries(), entries));
    if (!scan.SawSuffix())
        throw JobError(Exit::kDamaged, "the entry " + suffix + " was not loaded");
}

FolderId Staging::Finish() const {
    RemoveDurably(configuration_);
    RemoveDurably(rules_);
    CopySettings(places_);
    Give(places_.spare + "/" + kMarkerFile, "");
    SyncFileOrThrow(places_.spare + "/" + kDataFile);
    SyncFolderOrThrow(places_.spare);
    SyncFolderOrThrow(places_.folder);
    return IdOf(places_.spare);
}

// --- Loading ------------------------------------------------------------------

// "-q" skips syncing after every entry; everything is synced at the end.
Loader::Loader(const std::string &configuration)
    : pipe_(MakePipe()),
      child_({.argv = {kSlapadd, "-q", "-f", configuration}, .input = pipe_.reader.Get()}) {
    pipe_.reader.Reset(-1);
}

void Loader::Add(std::string_view block) {
    if (WriteAll(pipe_.writer.Get(), block, EndIfStopped)) return;
    const int reason = errno;
    if (reason != EPIPE) throw SystemError(Exit::kSystem, "cannot pass entries to slapadd", reason);
    Fail(child_.Wait());
}

void Loader::Finish() {
    pipe_.writer.Reset(-1);
    const int status = child_.Wait();
    EndIfStopped();
    if (status != 0) Fail(status);
}

void Loader::Fail(int wait_status) const {
    EndIfStopped();
    const std::string words = child_.Words();
    const std::string first = OneLine(words);
    throw JobError(
        ExitOfLoading(wait_status, words),
        fmt::format("slapadd does not load the entries: {} ({})",
                    first.empty() ? "no reason given" : first, StatusInWords(wait_status)));
}

// The database is a memory-mapped file: running out of disk space shows as SIGBUS.
Exit ExitOfLoading(int wait_status, std::string_view words) {
    const bool is_full = Says(words, "MDB_MAP_FULL") || Says(words, "No space left on device") ||
                         Says(words, "Disk quota exceeded") ||
                         (WIFSIGNALED(wait_status) && WTERMSIG(wait_status) == SIGBUS);
    if (is_full) return Exit::kDatabaseFull;
    // slapadd names a refused entry by its line in the LDIF.
    const bool refused = WIFEXITED(wait_status) && Says(words, "(line=");
    return refused ? Exit::kDamaged : Exit::kSystem;
}

}  // namespace zafo::backup
