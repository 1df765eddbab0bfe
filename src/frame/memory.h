// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>

namespace zafo {

// Deleter for memory from malloc.
struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};

}  // namespace zafo
