// SPDX-License-Identifier: Apache-2.0
//
// The command table of zafoldap.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

const Program &Zafoldap();

}  // namespace zafo::cli
