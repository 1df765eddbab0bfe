// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tools/zafoldapbackup/environment.h"

namespace zafo::backup {

// Replaces the server's entries with those of a backup file. Returns 0 or throws JobError.
int RunRestore(const Environment &environment, const std::string &file);

}  // namespace zafo::backup
