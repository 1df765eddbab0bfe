// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/zafoldapbackup/environment.h"

namespace zafo::backup {

// Writes one backup into the configured folder. Returns 0 or throws JobError.
int RunBackup(const Environment &environment);

}  // namespace zafo::backup
