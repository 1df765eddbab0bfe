// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/recovery.h"

#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "platform/service.h"
#include "tools/backup/job_lock.h"
#include "tools/restore/database_folder.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/server_probe.h"
#include "tools/restore/start_lock.h"

namespace zafo::backup {

namespace {

Verdict JudgePlaces(const Places &places) {
    return Judge(LookAt(places), [] { return HoldsSuffix(kSlapdConf, SuffixOf(kSlapdConf)); });
}

// Files that a killed restore left half-written in the server's folder.
std::vector<std::string> Unfinished(const Places &places) {
    std::vector<std::string> found;
    for (const std::string &path :
         {places.journal, std::string(kSlapdConf), std::string(kAccessRules)}) {
        if (access((path + kUnfinished).c_str(), F_OK) == 0) found.push_back(path + kUnfinished);
    }
    return found;
}

bool NothingIsLeft(const Places &places) {
    return !ReadJournal(places.journal).exists && IdOf(places.spare) == 0 &&
           Unfinished(places).empty();
}

// The journal goes first: without it the spare folder is known to be unneeded.
void CleanUp(const Places &places) {
    RemoveDurably(places.journal);
    RemoveFolder(places.spare);
}

[[noreturn]] void FailUnclear(const Places &places) {
    throw JobError(Exit::kSystem, fmt::format("a restore was interrupted, and which folder holds "
                                              "the directory is unclear: leave it in {}, move {} "
                                              "away, and remove {}",
                                              places.data, places.spare, places.journal));
}

// The server must not be running on the database.
void Apply(const Places &places, Verdict verdict) {
    for (const std::string &path : Unfinished(places))
        RemoveDurably(path);
    switch (verdict) {
        case Verdict::kNothing:
            return;
        case Verdict::kUnclear:
            FailUnclear(places);
        case Verdict::kSwapBack:
            AwaitUnused(places.data);
            SwapFolders(places.data, places.spare);
            [[fallthrough]];
        case Verdict::kKeep:
            CleanUp(places);
    }
}

void StartAgain(const Journal &journal) {
    if (journal.server_ran && QLIBServiceIsEnabled(kServerService) == 1 &&
        QLIBServiceStart(kServerService, 0) != 0)
        throw JobError(Exit::kServer,
                       "the old database is back in place, but the server does not start on it");
}

void StopServer() {
    if (QLIBServiceStop(kServerService, 0) != 0)
        throw JobError(Exit::kServer, "the server does not stop");
}

void PutBack(const Places &places, Journal journal) {
    if (IdOf(places.data) == journal.new_folder) {
        // If there is no room for the new state, swapping back is all the more urgent.
        journal.state = JournalState::kUndo;
        try {
            WriteDurably(places.journal, TextOf(journal));
        } catch (const JobError &) {
        }
        StopServer();
    }
    const StartLock lock;
    if (IdOf(places.data) == journal.new_folder) {
        AwaitUnused(places.data);
        SwapFolders(places.data, places.spare);
    }
    RemoveDurably(places.journal);
}

}  // namespace

void RecoverBeforeJob(const Places &places) {
    if (NothingIsLeft(places)) return;
    const FoundJournal found = ReadJournal(places.journal);
    Verdict verdict = Verdict::kNothing;
    {
        const StartLock lock;
        verdict = JudgePlaces(places);
        if (verdict != Verdict::kSwapBack) Apply(places, verdict);
    }
    if (verdict == Verdict::kSwapBack) {
        // A server may have been started on the database that is about to be removed.
        StopServer();
        const StartLock lock;
        Apply(places, JudgePlaces(places));
    }
    if (found.journal) StartAgain(*found.journal);
}

void RecoverBeforeStart(const Places &places) {
    if (NothingIsLeft(places)) return;
    const FoundJournal found = ReadJournal(places.journal);
    std::optional<JobLock> lock;
    try {
        lock.emplace();
    } catch (const JobError &busy) {
        // Without a journal, the spare folder is one that a running restore is loading.
        if (busy.code != Exit::kBusy) throw;
        if (!found.exists) return;
        const bool lives = found.journal && found.journal->writer.Lives();
        if (lives && found.journal->state == JournalState::kStarting) return;
        if (lives) throw JobError(Exit::kBusy, "a restore is running");
    }
    Apply(places, JudgePlaces(places));
}

void UndoRestore(const Places &places, Journal journal) {
    try {
        PutBack(places, journal);
    } catch (const JobError &error) {
        throw JobError(
            Exit::kServer,
            fmt::format("the old database will be put back at the server's next start: {}",
                        error.what()));
    }
    // Start the server first: removing a large folder takes time.
    try {
        StartAgain(journal);
    } catch (const JobError &) {
        RemoveFolder(places.spare);
        throw;
    }
    RemoveFolder(places.spare);
}

}  // namespace zafo::backup
