// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "zafoldap/home.h"

namespace zafo {

// Where this process mounts the export of home folders. It allocates nothing, so that the mount can
// be undone even when out of memory.
class MountPoint {
  public:
    MountPoint();
    const char *path() const { return path_; }

  private:
    char path_[32];
};

// Whether a user name can be a folder name: a single path component, so not "", ".", ".." or a name
// with "/". Names from a directory may contain anything.
bool IsFolderName(const char *name);

// A user's folder in the mounted export.
std::string HomeFolder(const char *name);

// Unmounts the export on every path.
class Mounted {
  public:
    Mounted() = default;
    Mounted(const Mounted &) = delete;
    Mounted &operator=(const Mounted &) = delete;
    ~Mounted() { ZAFOLDAPNFSUMount(); }
};

}  // namespace zafo
