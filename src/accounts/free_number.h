// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace zafo {

// A pool of numbers, including both ends.
struct NumberRange {
    uint64_t lowest;
    uint64_t highest;
};

// The first free number above `counter`, which is itself in use, continuing with the lowest after
// the highest. Nothing when the pool is full. `used` is sorted in ascending order and may contain
// duplicates and numbers outside the pool.
std::optional<uint64_t> NextFreeNumber(std::span<const uint64_t> used, uint64_t counter,
                                       NumberRange pool);

// The counter's value after `number` has been assigned.
inline uint64_t NumberAfter(uint64_t number, NumberRange pool) {
    return number == pool.highest ? pool.lowest : number + 1;
}

}  // namespace zafo
