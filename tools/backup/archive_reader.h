// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/core/unique_fd.h"
#include "tools/backup/manifest.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::backup {

struct ConfigFile {
    std::string name;  // the member: "config/slapd.conf"
    std::string bytes;
};

struct Contents {
    Manifest manifest;
    std::vector<ConfigFile> config;

    // The bytes of a member; nullptr when the backup has none of that name.
    const std::string *Config(std::string_view name) const;
};

// Reads a whole backup file and checks all there is to check: seal, order and names of members, sizes,
// digests, counts, that every record is whole. `entries` gets the LDIF block by block before all of that
// is known: what it did with them counts only when this returns. What it throws is passed on. Memory does
// not depend on the size of the file. The file's position is not used.
// Throws Problem: kBadPlace (not a regular file, cannot be read, empty), kDamaged, kNewerFormat
// (whose seal is right); `path` is for its words.
Contents ReadArchive(int fd, const std::string &path,
                     const std::function<void(std::string_view)> &entries = {});

// Opens a backup file to be read and throws Problem kBadPlace in words when that is impossible.
UniqueFd OpenBackup(const std::string &path);

}  // namespace zafo::backup
