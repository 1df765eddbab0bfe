// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/zafoldapbackup/environment.h"

namespace zafo::backup {

// Makes one backup into the folder of the environment. 0, or throws JobError.
int RunBackup(const Environment &environment);

}  // namespace zafo::backup
