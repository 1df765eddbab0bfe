// SPDX-License-Identifier: Apache-2.0
//
// Completion scripts for bash, zsh and fish. They know the commands by heart
// and ask the program itself for names of saved connections.
#pragma once

#include "tools/cli/command.h"

#include <string>

namespace zafo::cli {

std::string BashCompletion(const Program &program);
std::string ZshCompletion(const Program &program);
std::string FishCompletion(const Program &program);

}  // namespace zafo::cli
