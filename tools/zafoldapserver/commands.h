// SPDX-License-Identifier: Apache-2.0
//
// The command table of zafoldapserver, and its rows. Each row stands next to the code it runs.
#pragma once

#include <vector>

#include "tools/cli/session.h"

namespace zafo::cli {

const Program &Zafoldapserver();

Command EnableCommand();
std::vector<Command> ServiceCommands();  // start, stop, restart, status
Command ResetCommand();
std::vector<Command> ConfigurationCommands();  // acl show, config show
std::vector<Command> BackupCommands();
std::vector<Command> BackupConfigCommands();
Command RestoreCommand();
Command ProgressCommand();
std::vector<Command> AutomountCommands();
Command CheckCommand();

}  // namespace zafo::cli
