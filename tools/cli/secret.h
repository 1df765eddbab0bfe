// SPDX-License-Identifier: Apache-2.0
//
// Passwords. No option takes one: command lines can be read by everybody.
#pragma once

#include "tools/cli/streams.h"

#include <string>

namespace zafo::cli {

// From --password-stdin (one trailing line break does not count), from --password-file
// (refused when group or others can read it), or asked for twice.
std::string TakePassword(Streams &streams, const Invocation &invocation, std::string_view what);

}  // namespace zafo::cli
