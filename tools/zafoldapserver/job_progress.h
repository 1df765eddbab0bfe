// SPDX-License-Identifier: Apache-2.0
//
// What a backup or restore reports while it works, and how it is shown to people and programs.
#pragma once

#include <optional>
#include <string>

#include "tools/cli/json_document.h"
#include "tools/cli/progress.h"
#include "tools/cli/session.h"

namespace zafo::cli {

enum class JobState { kRunning, kDone, kFailed, kLost };

std::string_view Name(JobState state);

struct JobProgress {
    bool running = false;
    std::string operation = {};
    std::string task = {};
    std::string action = {};
    int total = 0;
    int stage = 0;
    int status = 0;
    int pid = 0;

    // A job that disappeared without an exit code was killed.
    JobState State() const;
    bool IsRestore() const { return operation == "restore"; }
    bool operator==(const JobProgress &) const = default;
};

// std::nullopt when no job has left a report. Throws Failure ("progress_unreadable").
std::optional<JobProgress> ReadProgress();

// Shows changes: on a terminal as one line that is overwritten, elsewhere as a line per stage, with
// --progress=json as an object per change.
class ProgressDisplay {
  public:
    explicit ProgressDisplay(Session &session);
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    void Show(const JobProgress &progress);

  private:
    Streams &streams_;
    const ProgressManner manner_;
    std::optional<JobProgress> last_;
};

}  // namespace zafo::cli
