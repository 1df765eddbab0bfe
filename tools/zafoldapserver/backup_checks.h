// SPDX-License-Identifier: Apache-2.0
//
// The verdicts of the backup checks, based on facts alone.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "tools/cli/check_steps.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/job_progress.h"

namespace zafo::cli {

// Compares the settings with what the scheduler has.
CheckStep JudgeSchedule(const BackupSettings &settings, Registration registration,
                        bool scheduler_runs, std::time_t now);

// What is known of the newest backup.
struct LastBackup {
    std::optional<std::time_t> written = {};  // std::nullopt: there is no backup
    std::string path = {};
    std::string fault = {};  // why it cannot be restored
    std::string content = {};
    std::string stray = {};  // a file that is named like a backup but is not one
};

// Judges the newest backup together with the result of the last job.
CheckStep JudgeLast(const BackupSettings &settings, const LastBackup &last,
                    const std::optional<JobProgress> &job, std::time_t now);

}  // namespace zafo::cli
