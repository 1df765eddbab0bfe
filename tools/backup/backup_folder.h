// SPDX-License-Identifier: Apache-2.0
//
// The folder of backups. Their names are PREFIX-NUMBER-TIME.tar.zst: "zafoldap-000042-20270228T140300Z.tar.zst".
// The number counts up, so that the order of backups does not hang on the clock; the time is UTC. A file that is being
// written has a dot in front and ".part" behind.
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

// A file with a name of ours that is none of our backups.
struct PassedOver {
    std::string path;
    std::string reason;  // "it belongs to user 1000, not to root"
};

struct FolderContents {
    std::vector<FoundBackup>
        backups;  // the highest number first, of one number the later time first
    std::vector<PassedOver> passed_over;
};

// Whoever may write into the folder can put files with our names there. What counts is a regular file that
// root or the effective user owns (on a file system that keeps no owners, anybody's), with a number up to
// kHighestNumber, a seal behind it and the beginning of a backup in front: each is opened for that, and none
// is read as a whole. Links, folders and other names are not even looked at.
// Throws JobError: kBadPlace when the folder cannot be read, kSystem when there are no means to.
FolderContents LookInto(const std::string &folder, std::string_view prefix);
std::vector<FoundBackup> BackupsIn(const std::string &folder, std::string_view prefix);

// Those that do not count, for a person: one line each, of many the first few and how many more.
std::vector<std::string> InWords(const std::vector<PassedOver> &passed_over);

// Removes all but the `keep` newest; never the newest, and nothing that does not count. Gives the paths that are gone.
// Throws JobError (WritingError) when one cannot be removed.
std::vector<std::string> Thin(const std::string &folder, std::string_view prefix,
                              std::uint64_t keep);

std::string BackupName(std::string_view prefix, std::uint64_t number, std::time_t written);

// Whether names with this prefix can be told apart from others: letters, digits, "_" and "-", at most 64.
bool IsPrefix(std::string_view prefix);

// A backup every second would take thirty years to get there.
inline constexpr std::uint64_t kHighestNumber = 999'999'999;

// One more than the highest. Throws JobError kSystem when that is kHighestNumber: the order of backups hangs on their
// numbers, so none is used twice.
std::uint64_t NextNumber(const std::vector<FoundBackup> &found);

// A backup that is being written. What is not put in place is removed with its owner; a run that was
// killed leaves its file to RemoveLeftParts.
class PartFile {
  public:
    // Makes "FOLDER/.NAME.part", mode 0600. Throws JobError (WritingError), as do all the others.
    PartFile(std::string folder, std::string name);
    ~PartFile();
    PartFile(const PartFile &) = delete;
    PartFile &operator=(const PartFile &) = delete;

    int Fd() const { return fd_.Get(); }
    const std::string &Path() const { return path_; }

    // What was written is on the disk when this returns.
    void Sync();

    // Gives the file its name, never that of another file; the name is on the disk when this returns. Gives the path.
    // What somebody has put in the file's place meanwhile is a JobError kSystem.
    const std::string &PutInPlace();

  private:
    std::string folder_;
    std::string name_;
    std::string path_;
    UniqueFd fd_;
    bool kept_ = false;
};

// Removes our part files of runs that are dead; the file of a live one, of another machine perhaps, is locked.
void RemoveLeftParts(const std::string &folder, std::string_view prefix);

}  // namespace zafo::backup
