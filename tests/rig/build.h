// SPDX-License-Identifier: Apache-2.0
//
// Asked at run time: the same objects of a test are linked with every build of the product.
#pragma once

#include <cstdlib>

extern "C" __attribute__((weak)) void __asan_init();

namespace zafo::rig {

// Whether the product is watched by the address sanitizer, which has an allocator of its own.
inline bool IsSanitized() {
    return &__asan_init != nullptr;
}

// Whether a test that takes minutes at full scale does less: it does all in the optimised build.
inline bool IsScaledDown() {
    return std::getenv("ZAFO_SCALED_DOWN") != nullptr;
}

}  // namespace zafo::rig
