// SPDX-License-Identifier: Apache-2.0
//
// The judgements behind the checks of backups, on facts alone.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "tools/cli/check_steps.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/job_progress.h"

namespace zafo::cli {

// The settings and what the scheduler has.
CheckStep JudgeSchedule(const BackupSettings &settings, Registration registration,
                        bool scheduler_runs, std::time_t now);

// What is known of the newest backup.
struct LastBackup {
    std::optional<std::time_t> written = {};  // none: there is no backup
    std::string path = {};
    std::string fault = {};  // why it cannot be restored
    std::string content = {};
    std::string stray = {};  // a file that has the name of a backup and is none
};

// The newest backup, beside what the last job came to.
CheckStep JudgeLast(const BackupSettings &settings, const LastBackup &last,
                    const std::optional<JobProgress> &job, std::time_t now);

}  // namespace zafo::cli
