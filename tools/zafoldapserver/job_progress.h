// SPDX-License-Identifier: Apache-2.0
//
// What a backup or restore says about itself while it works, and how a person or a program that
// watches sees it.
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

    // A job that is gone in the middle without an exit code was killed.
    JobState State() const;
    bool IsRestore() const { return operation == "restore"; }
    bool operator==(const JobProgress &) const = default;
};

// None when no job has left word. Throws Failure ("progress_unreadable").
std::optional<JobProgress> ReadProgress();

// Shows what is new: on a terminal one line that is written over, elsewhere a line for each
// stage, with --progress=json an object for every change.
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
