// SPDX-License-Identifier: Apache-2.0
//
// The backup, restore and progress rows of the command table.
#pragma once

#include "tools/cli/command.h"

#include <vector>

namespace zafo::cli {

std::vector<Command> BackupCommands();

}  // namespace zafo::cli
