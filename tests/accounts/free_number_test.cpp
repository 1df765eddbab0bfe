// SPDX-License-Identifier: Apache-2.0
//
// Choosing a free number from a pool.
#include "src/accounts/free_number.h"

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace zafo {
namespace {

using Numbers = std::vector<uint64_t>;
constexpr uint64_t kMax = UINT64_MAX;
constexpr std::optional<uint64_t> kNone;

struct Walk {
    const char *what;
    Numbers used;
    uint64_t counter;
    NumberRange pool;
    std::optional<uint64_t> answer;
};

TEST(NextFreeNumber, IsTheFirstFreeOneAfterTheCounter) {
    const Walk kWalks[] = {
        {"next one", {1000}, 1000, {1000, 1002}, 1001},
        {"hole", {1000, 1001, 1003}, 1000, {1000, 1010}, 1002},
        {"behind the last", {1000, 1001, 1002}, 1000, {1000, 1010}, 1003},
        {"smaller ones do not count", {1, 2, 5, 7}, 5, {1, 10}, 6},
        {"two holes", {1, 2, 4, 5, 7}, 4, {1, 10}, 6},
        {"highest is free", {8, 9}, 8, {1, 10}, 10},
        {"wraps to the lowest", {10}, 10, {1, 10}, 1},
        {"wraps past used ones", {1, 2, 9, 10}, 9, {1, 10}, 3},
        {"wraps to the one below the counter", {1, 2, 4, 5}, 4, {1, 5}, 3},
        {"numbers below the pool do not count", {0, 5}, 5, {2, 5}, 2},
        {"numbers above the pool do not count", {5, 6, 7}, 5, {2, 5}, 2},
        {"duplicates", {1, 1, 2, 2, 2, 3}, 1, {1, 9}, 4},
        {"duplicates of the counter alone", {4, 4, 4}, 4, {1, 9}, 5},
        {"duplicates of the highest", {9, 9}, 9, {1, 9}, 1},
        {"duplicates of the lowest", {1, 1, 9}, 9, {1, 9}, 2},
        {"counter below the pool", {3, 4}, 3, {10, 20}, 5},
        {"counter below the pool walks into it", {9, 10, 11}, 9, {10, 20}, 12},
        {"counter above the pool", {10, 50}, 50, {10, 20}, 11},
        {"counter above the pool, lowest free", {50}, 50, {10, 20}, 10},
        {"counter in a pool of one", {7}, 7, {7, 7}, kNone},
        {"full pool of two", {1, 2}, 1, {1, 2}, kNone},
        {"ends of 64 bits", {kMax - 1, kMax}, kMax - 1, {0, kMax}, 0},
        {"from the last of 64 bits", {0, kMax}, kMax, {0, kMax}, 1},
        {"last of 64 bits is free", {kMax - 1}, kMax - 1, {0, kMax}, kMax},
        {"pool at the end of 64 bits", {kMax - 1, kMax}, kMax, {kMax - 2, kMax}, kMax - 2},
        {"full pool at the end of 64 bits", {kMax - 1, kMax}, kMax, {kMax - 1, kMax}, kNone},
    };
    for (const Walk &walk : kWalks) {
        EXPECT_EQ(NextFreeNumber(walk.used, walk.counter, walk.pool), walk.answer) << walk.what;
    }
}

TEST(NextFreeNumber, IsNothingInAFullPoolWhereverTheCounterStands) {
    const NumberRange pool{1000, 1004};
    const Numbers kFull = {998, 999, 1000, 1000, 1001, 1002, 1003, 1004, 1005, 1006, 1006};
    for (uint64_t counter = 998; counter <= 1006; ++counter)
        EXPECT_EQ(NextFreeNumber(kFull, counter, pool), kNone) << counter;
}

// The specification of the search: try one number after another.
std::optional<uint64_t> Naive(const Numbers &used, uint64_t counter, NumberRange pool) {
    Numbers candidates;
    for (uint64_t n = counter + 1; n <= pool.highest; ++n)
        candidates.push_back(n);
    for (uint64_t n = pool.lowest; n <= pool.highest; ++n)
        candidates.push_back(n);
    for (const uint64_t n : candidates) {
        if (std::find(used.begin(), used.end(), n) == used.end()) return n;
    }
    return {};
}

TEST(NextFreeNumber, AgreesWithTryingOneNumberAfterTheOther) {
    std::mt19937 random(20);
    const auto below = [&random](unsigned n) {
        return std::uniform_int_distribution<uint64_t>(0, n - 1)(random);
    };
    int none = 0;
    for (int i = 0; i < 20'000; ++i) {
        const uint64_t lowest = 3 + below(4);
        const NumberRange pool{lowest, lowest + below(8)};
        Numbers used(static_cast<size_t>(1 + below(24)));
        for (uint64_t &n : used)
            n = below(18);
        std::sort(used.begin(), used.end());
        const uint64_t counter = used[random() % used.size()];
        const auto answer = NextFreeNumber(used, counter, pool);
        ASSERT_EQ(answer, Naive(used, counter, pool))
            << testing::PrintToString(used) << " counter " << counter << " pool " << pool.lowest
            << ".." << pool.highest;
        if (!answer) ++none;
    }
    EXPECT_GT(none, 500) << "full pools are among them";
}

TEST(NumberAfter, IsTheNextOrTheLowestAfterTheHighest) {
    EXPECT_EQ(NumberAfter(1000, {1000, 1002}), 1001u);
    EXPECT_EQ(NumberAfter(1002, {1000, 1002}), 1000u);
    EXPECT_EQ(NumberAfter(5, {1000, 1002}), 6u);
    EXPECT_EQ(NumberAfter(kMax, {7, kMax}), 7u);
}

}  // namespace
}  // namespace zafo
