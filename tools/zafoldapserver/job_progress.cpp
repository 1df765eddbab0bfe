// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/job_progress.h"

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/library_record.h"
#include "zafoldap/backup.h"

namespace zafo::cli {

namespace {

using ProgressRecord = LibraryRecord<ZAFOLDAP_PROGRESS, ZAFOLDAPServerProgressFree>;

std::string Text(const char *text) {
    return text == nullptr ? std::string() : OneLine(text);
}

std::string InWords(const JobProgress &progress) {
    return fmt::format("[{}/{}] {}", progress.stage, progress.total, progress.action);
}

std::string AsEvent(const JobProgress &progress) {
    return JsonText({{"event", "progress"},
                     {"operation", progress.operation},
                     {"stage", progress.stage},
                     {"total", progress.total},
                     {"action", progress.action}});
}

}  // namespace

std::string_view Name(JobState state) {
    constexpr std::string_view kNames[] = {"running", "done", "failed", "killed"};
    return kNames[static_cast<int>(state)];
}

JobState JobProgress::State() const {
    if (running) return JobState::kRunning;
    if (status != 0) return JobState::kFailed;
    return stage >= total ? JobState::kDone : JobState::kLost;
}

std::optional<JobProgress> ReadProgress() {
    ProgressRecord record;
    switch (ZAFOLDAPServerProgressGet(record.Address())) {
        case 0:
            return std::nullopt;
        case 1:
            break;
        default:
            if (QLIBCErrGet() == QLIB_ERR_OUT_OF_MEMORY)
                throw OwnFailure(Message::kOutOfMemory, {});
            throw OwnFailure(Message::kProgressUnreadable, {.subject = kProgressFile});
    }
    const ZAFOLDAP_PROGRESS &progress = *record;
    return JobProgress{.running = progress.blRunning != 0,
                       .operation = Text(progress.szOperation),
                       .task = Text(progress.szTask),
                       .action = Text(progress.szAction),
                       .total = progress.nTotal,
                       .stage = progress.nStage,
                       .status = progress.nStatus,
                       .pid = progress.nPid};
}

ProgressDisplay::ProgressDisplay(Session &session)
    : streams_(session.streams), manner_(MannerOf(session)) {}

ProgressDisplay::~ProgressDisplay() {
    streams_.Passing("");
}

void ProgressDisplay::Show(const JobProgress &progress) {
    if (progress.stage == 0 || progress == last_) return;
    const bool same_stage = last_ && last_->stage == progress.stage && last_->pid == progress.pid;
    const bool same_words = same_stage && last_->action == progress.action;
    last_ = progress;
    if (manner_ == ProgressManner::kOneLine) streams_.Passing(Shortened(InWords(progress), 79));
    if (manner_ == ProgressManner::kLines && !same_stage) streams_.Note(InWords(progress));
    if (manner_ == ProgressManner::kEvents && !same_words) streams_.Event(AsEvent(progress));
}

}  // namespace zafo::cli
