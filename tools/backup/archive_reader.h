// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/unique_fd.h"
#include "tools/backup/manifest.h"

namespace zafo::backup {

struct ConfigFile {
    std::string name;  // the member: "config/slapd.conf"
    std::string bytes;
};

struct Contents {
    Manifest manifest;
    std::vector<ConfigFile> config;
    // The digest of the whole file, in hexadecimal digits: files of one seal hold the same bytes.
    std::string seal;

    // The bytes of a member; nullptr when the backup has none of that name.
    const std::string *Config(std::string_view name) const;
};

// Reads a whole backup file and checks all there is to check: seal, order and names of members, sizes,
// digests, counts, that every record is whole. `entries` gets the LDIF block by block before all of that
// is known, but for the form of its lines (entry_guard.h): what it did with them counts only when this returns. What it
// throws is passed on. Memory does not depend on the file, whatever it says of itself. The file's position is not used.
// Throws JobError: kBadPlace (not a regular file, cannot be read, empty), kDamaged, kNewerFormat
// (whose seal is right); `path` is for its words.
Contents ReadArchive(int fd, const std::string &path,
                     const std::function<void(std::string_view)> &entries = {});

// Whether a file may be a whole backup: its size, the seal behind it, the frame it begins with and its first member
// (archive_format.h) are looked at, in a few reads whatever its size. Gives what is wrong, or nothing. A
// backup of a newer format is one. Throws JobError kSystem when the job is asked to end.
std::string FaultOfHead(int fd);

// Opens a backup file to be read and throws JobError (ReadingError) when that is impossible.
UniqueFd OpenBackup(const std::string &path);

}  // namespace zafo::backup
