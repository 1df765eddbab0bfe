// SPDX-License-Identifier: Apache-2.0
//
// From a command line to an exit code.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

int RunProgram(const Program &program, int argc, char **argv);

}  // namespace zafo::cli
