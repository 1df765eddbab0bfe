// SPDX-License-Identifier: Apache-2.0
//
// What becomes of the two folders after a restore was cut off.
//
// The folders are exchanged in one step, and only when the new database is loaded, counted and on the disk.
// So the one that bears the name "data" is whole at any time. What is to be found out is whether the other
// one is still needed: it is, when the one in place does not hold the directory.
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

// Throws JobError when a name is taken by something that is no folder.
Scene LookAt(const Places &places);

enum class Verdict {
    kNothing,   // no restore was cut off
    kKeep,      // the database in place stays; journal and other folder go
    kSwapBack,  // the same after they were exchanged
    kUnclear,   // neither is safe: a person must look
};

// `holds` tells whether the database in place has the suffix's entry; it is asked only where
// that decides.
Verdict Judge(const Scene &scene, const std::function<bool()> &holds);

}  // namespace zafo::backup
