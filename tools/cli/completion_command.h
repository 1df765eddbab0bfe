// SPDX-License-Identifier: Apache-2.0
//
// The command that prints a completion script.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

int PrintCompletion(Session &session);

}  // namespace zafo::cli
