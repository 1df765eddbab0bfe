// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>

namespace zafo {

// Deleter of what malloc has given.
struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};

}  // namespace zafo
