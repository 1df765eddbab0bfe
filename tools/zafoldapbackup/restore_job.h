// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/zafoldapbackup/environment.h"

#include <string>

namespace zafo::backup {

// Replaces the server's entries by those of a backup file. 0, or throws JobError.
int RunRestore(const Environment &environment, const std::string &file);

}  // namespace zafo::backup
