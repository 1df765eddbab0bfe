// SPDX-License-Identifier: Apache-2.0
//
// Where the local server keeps its files.
#pragma once

#include <cstddef>

#include "base/appliance_paths.h"
#include "src/core/dn_length.h"

namespace zafo {

inline constexpr const char *kSuffix = "suffix";

// Size of buffers for DNs and slapd.conf directives, including the final zero.
inline constexpr size_t kServerText = kMaxDN + 1;

// Reads "suffix" from slapd.conf. 0; -1 after a log line.
int ReadSuffix(char (&suffix)[kServerText]);

}  // namespace zafo
