// SPDX-License-Identifier: Apache-2.0
//
// Files left by killed processes (kill -9) of this user, under names with their process IDs: change
// files, which may hold password hashes, error files of searches, mount points.
#pragma once

namespace zafo::cli {

// Removes those whose process is gone or started later than the file. Does nothing while the debug
// switch is on, which keeps them for inspection. Other users' files and anything but regular files
// (of mount points: empty folders) are left alone; failures are not reported. Only processes
// visible to this one are considered, so programs in several containers should not share one
// "/tmp".
void RemoveLeftoverFiles();

}  // namespace zafo::cli
