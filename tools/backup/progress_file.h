// SPDX-License-Identifier: Apache-2.0
//
// The progress of a job, for display: "key=value" lines, replaced atomically, mode 0644.
//
//   operation   "backup" or "restore"
//   task        task name
//   action      the current stage in words
//   total       number of stages
//   stage       the current one, from 1
//   status      0 while working and after success, otherwise the exit code
//   pid         the working process
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/exit_code.h"

namespace zafo::backup {

class ProgressFile {
  public:
    // Writes nothing yet: a process that does not get the job lock must leave the file alone. With
    // an empty path no progress is written.
    ProgressFile(std::string path, Operation operation, std::string task, int total);

    // Begins the next stage and writes its action immediately.
    void Stage(std::string_view action);

    // During a long stage: rewrites the file at most once a second, with `detail` in parentheses
    // after the action.
    void Tick(std::string_view detail);

    // Reports entries done since the stage began, of a total that may be unknown, with the rate per
    // second and the seconds left.
    void TickEntries(std::uint64_t done, std::optional<std::uint64_t> total = std::nullopt);

    // Writes the final status; nothing is written afterwards.
    void Finish(int status);

    int CurrentStage() const { return stage_; }

  private:
    void Write(std::string_view action, int status);

    std::string path_;
    Operation operation_;
    std::string task_;
    std::string action_;
    int total_;
    int stage_ = 0;
    std::int64_t begun_ = 0;    // start of the stage; milliseconds of a monotonic clock
    std::int64_t written_ = 0;  // of the same clock
    bool complained_ = false;
};

// Runs a job and records its exit code in the progress file; exceptions are passed on.
void FinishAfter(ProgressFile *progress, const std::function<void()> &job);

}  // namespace zafo::backup
