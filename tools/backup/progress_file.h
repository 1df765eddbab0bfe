// SPDX-License-Identifier: Apache-2.0
//
// What a job is doing, for whoever wants to watch: "key=value" lines, one each, replaced in one
// step (never half written to a reader), mode 0644.
//
//   operation   "backup" or "restore"
//   task        task name
//   action      the current stage in words
//   total       number of stages
//   stage       the current one, from 1
//   status      0 while working and after success, else the exit code
//   pid         the process that works
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
    // Writes nothing yet: who finds the job's lock taken must leave the file alone.
    // An empty path: nobody wants to know.
    ProgressFile(std::string path, Operation operation, std::string task, int total);

    // The next stage begins; its action is written at once.
    void Stage(std::string_view action);

    // During a long stage: writes again when a second has passed, with `detail` behind the action, in
    // parentheses.
    void Tick(std::string_view detail);

    // So many entries are done since the stage began, of a total that may be unknown: with how many a
    // second that were, and the seconds left.
    void TickEntries(std::uint64_t done, std::optional<std::uint64_t> total = std::nullopt);

    // The end; nothing is written after it.
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
    std::int64_t begun_ = 0;    // the stage; milliseconds of a clock that never jumps
    std::int64_t written_ = 0;  // of the same
    bool complained_ = false;
};

// Runs a job and leaves its exit code in the progress; what the job throws is passed on.
void FinishAfter(ProgressFile *progress, const std::function<void()> &job);

}  // namespace zafo::backup
