// SPDX-License-Identifier: Apache-2.0
//
// The backup folder. Files are named PREFIX-NUMBER-TIME.tar.zst:
// "zafoldap-000042-20270228T140300Z.tar.zst". The number increases, so that the order of backups
// does not depend on the clock; the time is UTC. A file being written has a leading dot and a
// trailing ".part".
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "base/unique_fd.h"

namespace zafo::backup {

struct FoundBackup {
    std::string path;
    std::uint64_t number = 0;
    std::int64_t written = 0;  // the time in the name, seconds since 1970
    std::uint64_t bytes = 0;
};

// A file with a name of ours that is not one of our backups.
struct PassedOver {
    std::string path;
    std::string reason;  // "it belongs to user 1000, not to root"
};

struct FolderContents {
    std::vector<FoundBackup> backups;  // highest number first; for equal numbers, latest first
    std::vector<PassedOver> passed_over;
};

// Anyone with write access to the folder can create files with our names. Only regular files count
// that are owned by root or the effective user (any owner where the file system keeps none), with a
// number up to kHighestNumber, a seal at the end and the start of a backup. Each candidate is
// opened, but none is read in full. Links, folders and other names are ignored. Throws JobError:
// kBadPlace when the folder cannot be read, kSystem when resources run out.
FolderContents LookInto(const std::string &folder, std::string_view prefix);
std::vector<FoundBackup> BackupsIn(const std::string &folder, std::string_view prefix);

// Files that do not count, as text: one line each for the first few, then how many more.
std::vector<std::string> InWords(const std::vector<PassedOver> &passed_over);

// Removes all but the `keep` newest backups; never the newest, and never a file that does not
// count. Returns the removed paths. Throws JobError (WritingError) when one cannot be removed.
std::vector<std::string> Thin(const std::string &folder, std::string_view prefix,
                              std::uint64_t keep);

std::string BackupName(std::string_view prefix, std::uint64_t number, std::time_t written);

// Whether the prefix keeps our names distinguishable: letters, digits, "_" and "-", at most 64.
bool IsPrefix(std::string_view prefix);

// Takes thirty years to reach at one backup per second.
inline constexpr std::uint64_t kHighestNumber = 999'999'999;

// One more than the highest. Throws JobError kSystem when that is kHighestNumber: backups are
// ordered by number, so numbers are never reused.
std::uint64_t NextNumber(const std::vector<FoundBackup> &found);

// A backup being written. Unless put in place, the file is removed by the destructor;
// RemoveLeftParts removes those of killed runs.
class PartFile {
  public:
    // Creates "FOLDER/.NAME.part", mode 0600. Throws JobError (WritingError), as do the other
    // functions.
    PartFile(std::string folder, std::string name);
    ~PartFile();
    PartFile(const PartFile &) = delete;
    PartFile &operator=(const PartFile &) = delete;

    int Fd() const { return fd_.Get(); }
    const std::string &Path() const { return path_; }

    // Flushes the data to disk.
    void Sync();

    // Renames the file to its final name, without replacing an existing file, and syncs the folder.
    // Returns the path. Throws JobError kSystem if someone has replaced the part file.
    const std::string &PutInPlace();

  private:
    std::string folder_;
    std::string name_;
    std::string path_;
    UniqueFd fd_;
    bool kept_ = false;
};

// Removes part files of dead runs; the file of a live run, perhaps on another machine, is locked.
void RemoveLeftParts(const std::string &folder, std::string_view prefix);

}  // namespace zafo::backup
