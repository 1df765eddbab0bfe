// SPDX-License-Identifier: Apache-2.0
//
// From a command line to an exit code.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

// The handler of a command of the table; nullptr: none.
using HandlerFinder = Handler (*)(const Command &);

int RunProgram(const Program &program, HandlerFinder find_handler, int argc, char **argv);

}  // namespace zafo::cli
