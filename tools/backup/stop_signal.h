// SPDX-License-Identifier: Apache-2.0
//
// SIGTERM, SIGINT and SIGHUP ask a job to end: it notices at the next step, tidies up and ends.
#pragma once

namespace zafo::backup {

// From here on the three are remembered, and interrupt what blocks; SIGPIPE is ignored, SIGCHLD is not.
void CatchStopSignals();

bool Stopped();

// Throws JobError kSystem when the job is asked to end.
void EndIfStopped();

}  // namespace zafo::backup
