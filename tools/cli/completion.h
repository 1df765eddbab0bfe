// SPDX-License-Identifier: Apache-2.0
//
// Completion scripts for bash, zsh and fish. They know the commands by heart
// and ask the program itself for names of saved connections, users and groups. A directory that
// has not answered within a second offers nothing. Names that a shell could take for more than
// a name (bash expands the words it is offered) are left out.
#pragma once

#include "tools/cli/command.h"

#include <string>

namespace zafo::cli {

std::string BashCompletion(const Program &program);
std::string ZshCompletion(const Program &program);
std::string FishCompletion(const Program &program);

}  // namespace zafo::cli
