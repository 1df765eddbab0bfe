// SPDX-License-Identifier: Apache-2.0
//
// The command table of zafoldap, and its rows by noun. Each row is defined beside the function it
// runs.
#pragma once

#include <vector>

#include "tools/cli/session.h"

namespace zafo::cli {

const Program &Zafoldap();

std::vector<Command> ConnectionCommands();
std::vector<Command> UserCommands();
std::vector<Command> GroupCommands();
std::vector<Command> MemberCommands();
std::vector<Command> IdCommands();
Command UserDeleteCommand();
Command GroupDeleteCommand();
Command MigrateCommand();
Command StatCommand();
std::vector<Command> DirectoryCommands();  // search, entry

}  // namespace zafo::cli
