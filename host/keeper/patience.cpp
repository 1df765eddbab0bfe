// SPDX-License-Identifier: Apache-2.0
#include "host/keeper/patience.h"

#include <algorithm>

namespace zafo {

namespace {

using namespace std::chrono_literals;

constexpr Patience::Milliseconds kFirst = 250ms;
constexpr Patience::Milliseconds kLongestAfterEnd = 2s;
constexpr Patience::Milliseconds kLongestAfterFailedStart = 30s;
constexpr Patience::Milliseconds kShortLife = 10s;
constexpr Patience::Milliseconds kLongLife = 1min;

Patience::Milliseconds Longer(Patience::Milliseconds wait, Patience::Milliseconds longest) {
    return std::clamp(wait * 2, kFirst, longest);
}

}  // namespace

Patience::Milliseconds Patience::AfterEnd(Milliseconds lived) {
    failed_start_ = 0ms;
    if (lived >= kLongLife) {
        end_ = 0ms;
    } else if (ended_ && lived < kShortLife) {
        end_ = Longer(end_, kLongestAfterEnd);
    }
    ended_ = true;
    return end_;
}

Patience::Milliseconds Patience::AfterFailedStart() {
    return failed_start_ = Longer(failed_start_, kLongestAfterFailedStart);
}

}  // namespace zafo
