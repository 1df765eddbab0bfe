// SPDX-License-Identifier: Apache-2.0
//
// user delete and group delete are one command.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

Command UserDeleteCommand();
Command GroupDeleteCommand();

}  // namespace zafo::cli
