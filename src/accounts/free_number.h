// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace zafo {

// A pool of numbers, both ends included.
struct NUMBER_RANGE {
    uint64_t nLowest;
    uint64_t nHighest;
};

// Of the numbers above `nCounter`, which is among the used ones, the first that is free;
// after the highest come the lowest and those above it. Nothing when the pool is full. `used` is
// sorted ascending; numbers in it may occur twice and may lie outside the pool.
std::optional<uint64_t> NextFreeNumber(std::span<const uint64_t> used, uint64_t nCounter,
                                       NUMBER_RANGE pool);

// What a counter takes after `nNumber` was handed out.
inline uint64_t NumberAfter(uint64_t nNumber, NUMBER_RANGE pool) {
    return nNumber == pool.nHighest ? pool.nLowest : nNumber + 1;
}

}  // namespace zafo
