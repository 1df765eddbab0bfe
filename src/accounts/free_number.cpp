// SPDX-License-Identifier: Apache-2.0
#include "accounts/free_number.h"

#include <algorithm>

namespace zafo {

std::optional<uint64_t> NextFreeNumber(std::span<const uint64_t> used, uint64_t nCounter,
                                       NUMBER_RANGE pool) {
    // The first element after the last of a value: equal ones are stepped over at once.
    const auto after = [used](uint64_t n) { return std::upper_bound(used.begin(), used.end(), n); };
    uint64_t nCurrent = nCounter;
    auto next = after(nCurrent);
    bool blWrapped = false;
    for (;;) {
        if (nCurrent >= pool.nHighest) {
            // Nothing is seen twice: a counter at or below the lowest has been past all of them.
            if (blWrapped || nCounter <= pool.nLowest) return {};
            blWrapped = true;
            nCurrent = pool.nLowest;
            if (!std::binary_search(used.begin(), used.end(), nCurrent)) return nCurrent;
            next = after(nCurrent);
            continue;
        }
        if (next == used.end() || (*next != nCurrent && *next != nCurrent + 1)) return nCurrent + 1;
        nCurrent = *next++;
        if (nCurrent == nCounter) return {};  // all the way round
    }
}

}  // namespace zafo
