// SPDX-License-Identifier: Apache-2.0
#include "base/lines.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <typename Take>
std::vector<std::string> All(std::string_view text, Take take) {
    std::vector<std::string> all;
    while (!text.empty())
        all.emplace_back(take(&text));
    return all;
}

TEST(Lines, AreTakenWithoutTheirBreaksAndTheLastNeedsNone) {
    EXPECT_THAT(All("", TakeLine), IsEmpty());
    EXPECT_THAT(All("one\n\ntwo\n", TakeLine), ElementsAre("one", "", "two"));
    EXPECT_THAT(All("one\ntwo", TakeLine), ElementsAre("one", "two"));
    EXPECT_THAT(All("\n", TakeLine), ElementsAre(""));
}

TEST(Lines, AreTakenWholeWithTheirBreaks) {
    EXPECT_THAT(All("", TakeWholeLine), IsEmpty());
    EXPECT_THAT(All("one\r\n\ntwo", TakeWholeLine), ElementsAre("one\r\n", "\n", "two"));
}

TEST(Lines, GiveFieldsBetweenAnySeparator) {
    std::string_view text = "root:x:0";
    EXPECT_EQ(TakeField(&text, ':'), "root");
    EXPECT_EQ(text, "x:0");
    EXPECT_EQ(TakeField(&text, ','), "x:0");
    EXPECT_EQ(text, "");
    EXPECT_EQ(TakeField(&text, ':'), "");
}

}  // namespace
}  // namespace zafo::test
