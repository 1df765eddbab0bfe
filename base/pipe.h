// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

#include <optional>

namespace zafo {

struct Pipe {
    UniqueFd reader;
    UniqueFd writer;
};

// Both ends close-on-exec, and above the numbers that a child's standard descriptors have: where
// the caller has closed its own they would be in the way. Nothing, with errno, when there is none
// to be had. A pipe of 1 MiB, where the system allows it: large answers then need fewer switches
// between writer and reader.
std::optional<Pipe> OpenPipe();

}  // namespace zafo
