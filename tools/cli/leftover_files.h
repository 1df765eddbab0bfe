// SPDX-License-Identifier: Apache-2.0
//
// What processes of this user that were killed (kill -9) have left under the names that carry
// their numbers: change files, which may hold password hashes, error files of searches, mount
// points.
#pragma once

namespace zafo::cli {

// Removes those whose process is gone, or has begun later than the file. Nothing while the debug
// switch is on: they are kept to be looked at then. Other users' files, and what is no
// regular file (a mount point: no empty folder), are left alone, and nothing that fails is told.
// A process is looked for among those that this one sees: programs in several containers
// should not share one "/tmp".
void RemoveLeftoverFiles();

}  // namespace zafo::cli
