// SPDX-License-Identifier: Apache-2.0
//
// Backups and restores as the library runs them. Its calls wait for the job's end and have
// the environment for themselves meanwhile: each is made in a process of its own, while this one
// shows the progress.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/backup/exit_code.h"
#include "tools/cli/session.h"

namespace zafo::cli {

struct JobOutcome {
    bool ended = false;     // the process that made the call has told the rest
    int result = -1;        // of the call
    int library_code = 0;   // ZAFOLDAPErrGet
    int platform_code = 0;  // QLIBCErrGet
    bool ran = false;       // the backup program was started
    int exit_code = 0;      // its own, 128 and the signal when one ended it
};

// Runs the call to its end, also after Ctrl-C, which the backup program is told and tidies up
// after: its exit code then says what came of it.
JobOutcome RunJob(Session &session, const std::function<int()> &call);

// What is behind an outcome that is no success.
Failure BackupFailure(const JobOutcome &outcome, std::string_view tool_words);
Failure RestoreFailure(const JobOutcome &outcome, std::string_view tool_words);

// The reason of a job that somebody else has run, by its exit code.
Failure FailureOfExit(backup::Operation operation, int exit_code, std::string_view tool_words);

}  // namespace zafo::cli
