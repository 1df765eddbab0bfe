// SPDX-License-Identifier: Apache-2.0
//
// Where the local server keeps what.
#pragma once

#include <cstddef>

#include "base/appliance_paths.h"
#include "src/core/dn_length.h"

namespace zafo {

inline constexpr const char *kSuffix = "suffix";

// Buffers for DNs and for directives of slapd.conf, the final zero included.
inline constexpr size_t kServerText = kMaxDN + 1;

// Reads slapd.conf's "suffix". 0; -1 with a line in the log.
int ReadSuffix(char (&suffix)[kServerText]);

}  // namespace zafo
