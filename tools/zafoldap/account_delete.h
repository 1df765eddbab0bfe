// SPDX-License-Identifier: Apache-2.0
//
// user delete and group delete, which share one implementation.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

Command UserDeleteCommand();
Command GroupDeleteCommand();

}  // namespace zafo::cli
