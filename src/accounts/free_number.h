// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace zafo {

// A pool of numbers, both ends included.
struct NumberRange {
    uint64_t lowest;
    uint64_t highest;
};

// Of the numbers above `counter`, which is among the used ones, the first that is free;
// after the highest come the lowest and those above it. Nothing when the pool is full. `used` is
// sorted ascending; numbers in it may occur twice and may lie outside the pool.
std::optional<uint64_t> NextFreeNumber(std::span<const uint64_t> used, uint64_t counter,
                                       NumberRange pool);

// What a counter takes after `number` was handed out.
inline uint64_t NumberAfter(uint64_t number, NumberRange pool) {
    return number == pool.highest ? pool.lowest : number + 1;
}

}  // namespace zafo
