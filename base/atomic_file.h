// SPDX-License-Identifier: Apache-2.0
//
// Files that are read whole and replaced whole. Errors are platform error codes, 0 is success.
#pragma once

#include "base/unique_fd.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace zafo {

enum class ReadResult { kDone, kAbsent, kNotReadable, kReadFailed };

// The text of a regular file.
ReadResult ReadWhole(const std::string &path, std::string *text);

// Puts `text` in the place of a file that exists, in one step: its owner and mode stay, the text is
// on the disk when this returns. Who else may write is the caller's affair.
int ReplaceWhole(const std::string &path, std::string_view text);

// The right to replace one file: a lock on "FILE.lock", which stays behind, and
// the file's real name when it is reached through symbolic links. Processes and
// threads wait for each other; readers need no lock.
class FileUpdate {
  public:
    // Waits for the lock. On failure Error() is not 0.
    explicit FileUpdate(const std::string &path);

    // Takes part in a lock that another process holds and has passed on: the file is free when
    // both have let go.
    FileUpdate(const std::string &path, UniqueFd lock);

    // For a child that takes part.
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

// Writes all bytes to a descriptor; false with errno.
bool WriteAll(int fd, std::string_view text);

}  // namespace zafo
