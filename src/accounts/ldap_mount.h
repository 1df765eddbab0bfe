// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "zafoldap/home.h"

namespace zafo {

// Where this process mounts the export of home folders. It takes no memory: what is
// mounted can be unmounted when there is none left.
class MountPoint {
  public:
    MountPoint();
    const char *path() const { return path_; }

  private:
    char path_[32];
};

// Whether a user name can be the name of a folder: one path component, which "", ".",
// ".." and names with a "/" are not. A directory may hold anything.
bool IsFolderName(const char *name);

// A user's folder in the mounted export.
std::string HomeFolder(const char *name);

// What was mounted is unmounted on every path.
class Mounted {
  public:
    Mounted() = default;
    Mounted(const Mounted &) = delete;
    Mounted &operator=(const Mounted &) = delete;
    ~Mounted() { ZAFOLDAPNFSUMount(); }
};

}  // namespace zafo
