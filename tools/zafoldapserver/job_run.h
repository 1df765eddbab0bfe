// SPDX-License-Identifier: Apache-2.0
//
// Backups and restores as run by the library. Its calls block until the job ends and need the
// environment to themselves: each is made in a separate process while this one shows the progress.
#pragma once

#include <functional>

#include "tools/backup/exit_code.h"
#include "tools/backup/job_error.h"
#include "tools/cli/session.h"

namespace zafo::cli {

struct JobOutcome {
    bool ended = false;     // the calling process has reported the rest
    int result = -1;        // the call's return value
    int library_code = 0;   // ZAFOLDAPErrGet
    int platform_code = 0;  // QLIBCErrGet
    bool ran = false;       // the backup program was started
    int exit_code = 0;      // its exit code, or 128 plus the signal that ended it
};

// Runs the call to its end, even after Ctrl-C, which the backup program also receives and cleans up
// after: its exit code then tells the result.
JobOutcome RunJob(Session &session, const std::function<int()> &call);

// The reason for an unsuccessful outcome.
Failure BackupFailure(const JobOutcome &outcome, std::string_view tool_words);
Failure RestoreFailure(const JobOutcome &outcome, std::string_view tool_words);

// The reason for the failure of a job run by another process, by its exit code.
Failure FailureOfExit(backup::Operation operation, int exit_code, std::string_view tool_words);
Failure FailureOfExit(backup::Operation operation, const backup::JobError &error);

}  // namespace zafo::cli
