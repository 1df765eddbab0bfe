// SPDX-License-Identifier: Apache-2.0
//
// The command table of zafoldapserver.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

const Program &Zafoldapserver();

}  // namespace zafo::cli
