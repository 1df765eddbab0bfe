// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace zafo::front {

// The front's own exit codes; a tool's codes are LDAP result codes, and 255 for "cannot do it at
// all".
constexpr int kRefused = 255;
constexpr int kNoTool = 127;

// The name that starts every message.
void SpeakAs(std::string_view tool);

// One line on standard error: the tool, what failed and, for an errno other than 0, why.
[[noreturn]] void Fail(int exit_code, std::string_view what, int error = 0);

}  // namespace zafo::front
