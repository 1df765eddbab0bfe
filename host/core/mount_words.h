// SPDX-License-Identifier: Apache-2.0
//
// "/bin/mount SOURCE FOLDER" guesses what the source is, and mounts with every right that it grants. Both
// are more than a caller can want who says nothing of it: the source is a network's, and what
// is on it is not to be run.
#pragma once

#include <string>
#include <vector>

namespace zafo {

// Puts words before exactly such a pair: NFS and nothing else (a file, a folder or a device fails then,
// also one called "HOST:" in the working folder), without programs, set-id bits or devices. Words that are no
// such pair stay.
void RestrictMount(const char *path, std::vector<std::string> *words);

}  // namespace zafo
