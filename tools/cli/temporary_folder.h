// SPDX-License-Identifier: Apache-2.0
//
// "/tmp", where changes are prepared.
#pragma once

#include <string>

namespace zafo::cli {

inline constexpr const char *kTemporaryFolder = "/tmp";

// Why no file can be written there now, in the system's words; empty if one can.
std::string FaultOfTemporaryFolder();

}  // namespace zafo::cli
