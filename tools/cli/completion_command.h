// SPDX-License-Identifier: Apache-2.0
//
// The command that prints a completion script.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

Command CompletionCommand(std::string_view description, const std::vector<Example> &examples);

}  // namespace zafo::cli
