// SPDX-License-Identifier: Apache-2.0
//
// Decides what happens to the two folders after an interrupted restore.
//
// The folders are swapped atomically, and only once the new database is loaded, counted and synced.
// So the one named "data" is always complete. What has to be decided is whether the other one is
// still needed: it is if the one in place does not hold the directory.
#pragma once

#include <functional>

#include "tools/restore/journal.h"
#include "tools/restore/places.h"

namespace zafo::backup {

enum class Which { kMissing, kOld, kNew, kOther };

struct Scene {
    FoundJournal journal = {};
    Which data = Which::kMissing;
    Which spare = Which::kMissing;
};

// Throws JobError when one of the names exists but is not a folder.
Scene LookAt(const Places &places);

enum class Verdict {
    kNothing,   // no restore was interrupted
    kKeep,      // the database in place stays; remove the journal and the other folder
    kSwapBack,  // swap them, then the same
    kUnclear,   // neither is safe: an operator must look
};

// `holds` reports whether the database in place has the suffix's entry; it is only called when the
// verdict depends on it.
Verdict Judge(const Scene &scene, const std::function<bool()> &holds);

}  // namespace zafo::backup
