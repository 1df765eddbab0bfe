// SPDX-License-Identifier: Apache-2.0
//
// The folder in which changes are prepared, "/tmp".
#pragma once

#include <string>

namespace zafo::cli {

inline constexpr const char *kTemporaryFolder = "/tmp";

// Why no file can be written there now, in the system's words; empty when one can be.
std::string FaultOfTemporaryFolder();

}  // namespace zafo::cli
