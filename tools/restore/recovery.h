// SPDX-License-Identifier: Apache-2.0
//
// Recovery from a restore that was cut off: afterwards the old or the restored entries are in place, whole, and
// nothing else is left of it.
#pragma once

#include "tools/restore/recovery_verdict.h"

#include <chrono>

namespace zafo::backup {

// Before another job begins, which holds the job's lock. Stops and starts the server where the
// folders must be exchanged back beneath it, and starts it where the restore had stopped it.
// Throws JobError.
void RecoverBeforeJob(const Places &places);

// Before the server starts; the caller holds the lock of starts (start_lock.h). Throws JobError when the
// server must not be started now: a restore is exchanging its database, or it is unclear which is which.
void RecoverBeforeStart(const Places &places);

// Takes a restore back while this process is in it: as little as possible is taken for granted. With
// the folders exchanged the server is stopped first. The server runs again afterwards when it ran.
// Throws JobError when the old database cannot be put back; the next recovery tries again.
void UndoRestore(const Places &places, Journal journal);

}  // namespace zafo::backup
