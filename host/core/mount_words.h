// SPDX-License-Identifier: Apache-2.0
//
// "/bin/mount SOURCE FOLDER" guesses the type of the source and mounts it without any restriction.
// A caller that gives no options cannot want either: the source is on the network, and nothing on
// it is meant to be executed.
#pragma once

#include <string>
#include <vector>

namespace zafo {

// Prepends options to exactly such a pair: only NFS (a file, a folder or a device then fails, even
// one called "HOST:" in the working folder), without executables, set-id bits or devices. Any other
// words are left alone.
void RestrictMount(const char *path, std::vector<std::string> *words);

}  // namespace zafo
