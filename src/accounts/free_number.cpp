// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/free_number.h"

#include <algorithm>

namespace zafo {

std::optional<uint64_t> NextFreeNumber(std::span<const uint64_t> used, uint64_t counter,
                                       NumberRange pool) {
    // The first element greater than a number, which skips duplicates.
    const auto after = [used](uint64_t n) { return std::upper_bound(used.begin(), used.end(), n); };
    uint64_t current = counter;
    auto next = after(current);
    bool has_wrapped = false;
    for (;;) {
        if (current >= pool.highest) {
            // A counter at or below the lowest number has already passed all of them.
            if (has_wrapped || counter <= pool.lowest) return {};
            has_wrapped = true;
            current = pool.lowest;
            if (!std::binary_search(used.begin(), used.end(), current)) return current;
            next = after(current);
            continue;
        }
        if (next == used.end() || (*next != current && *next != current + 1)) return current + 1;
        current = *next++;
        if (current == counter) return {};  // back at the start
    }
}

}  // namespace zafo
