// SPDX-License-Identifier: Apache-2.0
//
// Files that are replaced in one step: the new text is written beside the file, synced and renamed
// into place, so that a reader, or the system after a loss of power, finds either the old text or
// the new one. Results are 0 or an errno.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace zafo {

// What AtomicFile adds to a file's name.
inline constexpr const char *kNewSuffix = ".new";

// A new version of a file, written to "PATH.new" with mode 0600 and removed by the destructor
// unless it was committed. The caller makes sure that there is one writer at a time: a "PATH.new"
// that exists was left by a killed writer and is replaced. The first error sticks: later calls do
// nothing, and Commit returns it.
class AtomicFile {
  public:
    explicit AtomicFile(std::string path, const char *suffix = kNewSuffix);
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    void Write(std::string_view text);
    void SetMode(mode_t mode);
    // Not an error where the caller may not give files away. Call it before SetMode: it clears the
    // set-user-ID bits.
    void SetOwner(uid_t user, gid_t group);
    // Gives the file to the group with mode 0640, where the caller may.
    void LetRead(gid_t group);

    // Replaces the file. The new text is on the disk when this returns.
    int Commit();
    // Replaces it without syncing, for a file that need not survive a loss of power.
    int CommitUnsynced();

  private:
    void Keep(bool succeeded);

    std::string path_;
    std::string aside_;
    UniqueFd fd_;
    int error_ = 0;
};

// fsync(2) by path: a file's content, a folder's names.
int SyncFile(const std::string &path);
int SyncFolder(const std::string &folder);
int SyncFolderOf(const std::string &path);

// Replaces the text of an existing file and keeps its owner and mode. Follows symbolic links.
int ReplaceWhole(const std::string &path, std::string_view text);

// The right to replace one file: a lock on "FILE.lock", which is never removed, and the file's real
// name if it is reached through symbolic links. Processes and threads wait for each other; readers
// need no lock.
class FileUpdate {
  public:
    // Waits for the lock. On failure Error() is not 0.
    explicit FileUpdate(const std::string &path);

    // Shares a lock that another process holds and has passed on: it is released when both have
    // closed it.
    FileUpdate(const std::string &path, UniqueFd lock);

    // For a child that shares the lock.
    int Lock() const { return lock_.Get(); }

    int Error() const { return error_; }
    const std::string &Path() const { return path_; }

    // Puts `text` in the file's place in one step; the text is on the disk when this returns.
    // An owner stays where the caller may give files away.
    // A file that exists keeps its mode unless it is private. `mode` is a new file's mode.
    int Replace(std::string_view text, mode_t mode = 0600);

    // The file has mode 0600 from the next Replace on.
    void MakePrivate() { private_ = true; }

    // The file belongs to this group and has mode 0640 from the next Replace on, where the caller
    // may give files to the group.
    void LetRead(gid_t group) { reader_ = group; }

    // The file belongs to the caller, with this mode, from the next Replace on, whoever had it.
    void TakeOver(mode_t mode) { own_ = mode; }

  private:
    std::string path_;
    UniqueFd lock_;
    bool private_ = false;
    std::optional<gid_t> reader_;
    std::optional<mode_t> own_;
    int error_ = 0;
};

}  // namespace zafo
