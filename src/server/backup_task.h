// SPDX-License-Identifier: Apache-2.0
//
// What the library shares with the backup program and the scheduler.
#pragma once

namespace zafo {

// Runs the task; the scheduler knows the task by it.
inline constexpr const char *kBackupCommand =
    "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2";

// Written by the backup program: "key=value" lines.
inline constexpr const char *kProgressFile = "/var/log/zafoldap.progress";

}  // namespace zafo
