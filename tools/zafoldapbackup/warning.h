// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zafo::backup {

// Writes a warning for the user and to the system log. The job continues.
void Warn(const std::string &words);

}  // namespace zafo::backup
