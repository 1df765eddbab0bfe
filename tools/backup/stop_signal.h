// SPDX-License-Identifier: Apache-2.0
//
// SIGTERM, SIGINT and SIGHUP ask a job to stop: it notices at the next step, cleans up and exits.
#pragma once

namespace zafo::backup {

// From now on the three are recorded and interrupt blocking calls; SIGPIPE is ignored, SIGCHLD
// reset to its default.
void CatchStopSignals();

bool Stopped();

// Throws JobError kSystem when the job has been asked to stop.
void EndIfStopped();

}  // namespace zafo::backup
