// SPDX-License-Identifier: Apache-2.0
//
// The command table of zafoldap.
#pragma once

#include "tools/cli/command.h"

#include <vector>

namespace zafo::cli {

const Program &Zafoldap();

// Its rows for accounts.
std::vector<Command> AccountCommands();

}  // namespace zafo::cli
