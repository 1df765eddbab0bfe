// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "base/unique_fd.h"

namespace zafo {

struct Pipe {
    UniqueFd reader;
    UniqueFd writer;
};

// Both ends are close-on-exec and numbered above the standard descriptors: in a caller that has
// closed its own, they would otherwise clash with the child's. The pipe holds 1 MiB if the system
// allows it, so that large outputs take fewer switches between writer and reader. Nothing, with
// errno set, on failure.
std::optional<Pipe> OpenPipe();

}  // namespace zafo
