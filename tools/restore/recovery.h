// SPDX-License-Identifier: Apache-2.0
//
// Recovery from an interrupted restore. Afterwards either the old or the restored entries are in
// place, complete, and no other trace of the restore is left.
//
// A restore (RestoreJob) goes through these states. Each is on the disk before the next one begins.
// `data` and `spare` are the two folders (places.h); "old" holds the previous entries, "new" the
// restored ones. In the states in brackets the server is stopped.
//
//     state        data  spare  journal    what a kill there leaves is recovered by
//
//     Idle         old   -      -
//       | Staging::Staging
//     Loading      old   part   -          removing spare
//       | Staging::Finish, WriteDurably: RestoreJob::Replace
//     Announced    old   new    exchange   removing journal and spare
//       | SwapFolders: RestoreJob::SwapIn
//     [Swapped]    new   old    exchange   as Starting
//       | WriteDurably: RestoreJob::SwapIn
//     Starting     new   old    starting   keeping new, if it holds the suffix's entry: clients may
//       |                                  have written to it. As Undoing, if it does not.
//       | RemoveDurably: RestoreJob::Replace. From here on the restore counts.
//     Restored     new   old    -          removing spare
//       | RemoveFolder: RestoreJob::RemoveOld
//     Idle         new   -      -
//
// A failure after Announced leads back through UndoRestore; after a kill, Apply does the same:
//
//     Swapped, Starting
//       | WriteDurably: PutBack
//     Undoing      new   old    undo       swapping the folders back, then as Undone
//       | SwapFolders: PutBack
//     [Undone]     old   new    undo       removing journal and spare
//       | RemoveDurably: PutBack
//     Loading
//       | StartAgain, RemoveFolder: UndoRestore
//     Idle         old   -      -
//
// If the disk has no room for "undo", the journal stays as it was and `data` decides. Judge
// (recovery_verdict.h) gives the verdict on what is found. It also covers what matches none of
// these states, such as folders that the journal does not name or an unreadable journal: a database
// that holds the suffix's entry stays, otherwise an operator must look. A "*.part" file was left by
// a killed writer and is removed.
#pragma once

#include "tools/restore/recovery_verdict.h"

namespace zafo::backup {

// Called before another job, which holds the job lock, begins. Stops and starts the server when the
// folders must be swapped back, and starts it if the restore had stopped it. Throws JobError.
void RecoverBeforeJob(const Places &places);

// Called before the server starts; the caller holds the start lock (start_lock.h). Throws JobError
// when the server must not be started now: a restore is swapping its database, or it is unclear
// which folder is which.
void RecoverBeforeStart(const Places &places);

// Undoes a restore from within the restoring process, assuming as little as possible. If the
// folders are swapped, the server is stopped first. Afterwards the server runs if it ran before.
// Throws JobError when the old database cannot be put back; the next recovery tries again.
void UndoRestore(const Places &places, Journal journal);

}  // namespace zafo::backup
