// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zafo::backup {

// For the person who runs the program, and for the system log. The job goes on.
void Warn(const std::string &words);

}  // namespace zafo::backup
