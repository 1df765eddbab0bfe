// SPDX-License-Identifier: Apache-2.0
//
// Atomic replacement of files: the new text is written beside the file, synced and renamed into
// place, so that readers, and the system after a power failure, find either the old text or the new
// one. Results are 0 or an errno.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace zafo {

// AtomicFile appends this to a file's name.
inline constexpr const char *kNewSuffix = ".new";

// A new version of a file, written to "PATH.new" with mode 0600 and removed by the destructor
// unless it was committed. The caller ensures that there is only one writer at a time: an existing
// "PATH.new" was left by a killed writer and is replaced. The first error sticks: later calls do
// nothing, and Commit returns it.
class AtomicFile {
  public:
    explicit AtomicFile(std::string path, const char *suffix = kNewSuffix);
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    void Write(std::string_view text);
    void SetMode(mode_t mode);
    // Not an error if the caller may not change the owner. Call it before SetMode: it clears the
    // set-user-ID and set-group-ID bits.
    void SetOwner(uid_t user, gid_t group);
    // Assigns the file to the group with mode 0640, if the caller may.
    void LetRead(gid_t group);

    // Replaces the file. On return the new text is on the disk.
    int Commit();
    // Replaces it without syncing, for a file that need not survive a power failure.
    int CommitUnsynced();

  private:
    void Keep(bool succeeded);

    std::string path_;
    std::string aside_;
    UniqueFd fd_;
    int error_ = 0;
};

// fsync(2) by path: of a file's content, or of a folder's names.
int SyncFile(const std::string &path);
int SyncFolder(const std::string &folder);
int SyncFolderOf(const std::string &path);

// Replaces the text of an existing file, keeping its owner and mode. Follows symbolic links.
int ReplaceWhole(const std::string &path, std::string_view text);

// Exclusive permission to replace a file: holds a lock on "FILE.lock", which is never removed, and
// resolves symbolic links to the file's real name. Processes and threads wait for each other;
// readers need no lock.
class FileUpdate {
  public:
    // Waits for the lock. If that fails, Error() is not 0.
    explicit FileUpdate(const std::string &path);

    // Shares a lock that another process holds and has passed on; it is released when both have
    // closed it.
    FileUpdate(const std::string &path, UniqueFd lock);

    // For a child process that shares the lock.
    int Lock() const { return lock_.Get(); }

    int Error() const { return error_; }
    const std::string &Path() const { return path_; }

    // Atomically replaces the file; on return the text is on the disk. An existing file keeps its
    // owner, if the caller may change owners, and its mode, unless it is private. `mode` applies to
    // a new file.
    int Replace(std::string_view text, mode_t mode = 0600);

    // From the next Replace on, the file has mode 0600.
    void MakePrivate() { private_ = true; }

    // From the next Replace on, the file is owned by this group and has mode 0640, if the caller
    // may change its group.
    void LetRead(gid_t group) { reader_ = group; }

    // From the next Replace on, the caller owns the file, with this mode, no matter who owned it before.
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
