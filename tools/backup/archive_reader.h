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
    // The digest of the whole file in hexadecimal; files with the same seal have the same bytes.
    std::string seal;

    // The bytes of a member; nullptr when the backup does not contain it.
    const std::string *Config(std::string_view name) const;
};

// Reads a backup file to the end and checks everything: seal, order and names of members, sizes,
// digests, counts, and that every record is complete. `entries` receives the LDIF block by block;
// only the form of its lines (entry_guard.h) has been checked by then, so its results are valid
// only once this returns. Exceptions from `entries` are passed on. Memory use does not depend on
// the file. The file position is not used. Throws JobError: kBadPlace (not a regular file, cannot
// be read, empty), kDamaged, kNewerFormat (with a correct seal); `path` is for messages only.
Contents ReadArchive(int fd, const std::string &path,
                     const std::function<void(std::string_view)> &entries = {});

// Whether a file looks like a complete backup: checks its size, the seal at its end, the start of
// the frame and the first member (archive_format.h), in a few reads whatever the size. Returns what
// is wrong, or an empty string. A backup of a newer format passes. Throws JobError kSystem when the
// job is asked to stop.
std::string FaultOfHead(int fd);

// Opens a backup file for reading. Throws JobError (ReadingError).
UniqueFd OpenBackup(const std::string &path);

}  // namespace zafo::backup
