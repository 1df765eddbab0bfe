// SPDX-License-Identifier: Apache-2.0
//
// A user's new password: typed, read or made, and checked.
#pragma once

#include "tools/cli/password_options.h"

#include <string>

namespace zafo::cli {

std::string TakeUserPassword(Session &session, const std::string &name);

}  // namespace zafo::cli
