// SPDX-License-Identifier: Apache-2.0
//
// progress: what a backup or restore is doing, or how it ended.
#include <chrono>
#include <thread>

#include "tools/cli/listing.h"
#include "tools/cli/progress.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/job_progress.h"
#include "tools/zafoldapserver/job_run.h"

namespace zafo::cli {

namespace {

constexpr std::chrono::milliseconds kRefreshEvery{200};

const Fields kProgressFields = {
    {"operation", "OPERATION"}, {"task", "TASK"},     {"state", "STATE"},
    {"stage", "STAGE"},         {"total", "OF"},      {"action", "ACTION"},
    {"status", "EXIT CODE"},    {"reason", "REASON"}, {"pid", "PROCESS"}};

backup::Operation OperationOf(const JobProgress &progress) {
    return progress.IsRestore() ? backup::Operation::kRestore : backup::Operation::kBackup;
}

Json RecordOf(const JobProgress &progress) {
    const bool failed = progress.State() == JobState::kFailed;
    return {{"operation", progress.operation},
            {"task", TextOrNull(progress.task)},
            {"state", Name(progress.State())},
            {"stage", progress.stage},
            {"total", progress.total},
            {"action", progress.action},
            {"status", progress.status},
            {"reason",
             failed ? Json(backup::WordsFor(OperationOf(progress), progress.status)) : Json()},
            {"pid", progress.running ? Json(progress.pid) : Json()}};
}

// Waits for the end of the running job; std::nullopt when it left no report.
std::optional<JobProgress> Follow(Session &session, JobProgress progress) {
    ProgressDisplay display(session);
    while (progress.running) {
        display.Show(progress);
        std::this_thread::sleep_for(kRefreshEvery);
        if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
        const std::optional<JobProgress> now = ReadProgress();
        // A different pid is another job.
        if (!now || now->pid != progress.pid) return std::nullopt;
        progress = *now;
    }
    return progress;
}

void ThrowUnlessDone(const JobProgress &progress) {
    if (progress.State() == JobState::kDone) return;
    if (progress.State() == JobState::kLost)
        throw OwnFailure(Message::kJobLost, {.subject = progress.operation});
    throw FailureOfExit(OperationOf(progress), progress.status, {});
}

int ShowProgress(Session &session) {
    std::optional<JobProgress> progress = ReadProgress();
    if (!progress) {
        TellResult(session, Json(), "no backup or restore has run here");
        return 0;
    }
    if (session.invocation.Has("follow") && progress->running) {
        const std::string operation = progress->operation;
        progress = Follow(session, *progress);
        // The library removes the report of a failed restore.
        if (!progress) throw OwnFailure(Message::kJobLeftNoWord, {.subject = operation});
        ThrowUnlessDone(*progress);
    }
    PrintRecord(session.streams, session.document, kProgressFields, RecordOf(*progress));
    return 0;
}

}  // namespace

Command ProgressCommand() {
    return {
        .noun = "progress",
        .run = ShowProgress,
        .summary = "Show the progress of a backup or restore",
        .description =
            "Shows the running backup or restore, or the result of the last one. --follow shows a "
            "running one until it ends; the exit code is then that of the job's own command. "
            "Fields: operation, task, state (running, done, failed, killed), stage, total, action, "
            "status (exit code of the backup program), reason, pid.",
        .options = {{.name = "follow", .help = "follow the job until it ends"}, kProgressOption},
        .examples = {{"zafoldapserver progress", "the current state"},
                     {"zafoldapserver progress --follow", "until the job ends"}},
        .exits = {3, 8, 130}};
}

}  // namespace zafo::cli
