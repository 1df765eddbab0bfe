// SPDX-License-Identifier: Apache-2.0
//
// Includes lead downwards, from layer to layer, and no folders include each other in a cycle.
#include "tests/meta/floors.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zafo::meta;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Floors, IncludesLeadDownwards) {
    const std::vector<Include> includes = IncludesOfTheTree();
    EXPECT_GT(includes.size(), 1000u);
    for (const Include &include : includes) {
        EXPECT_EQ(WrongWith(include), "") << include.file << " includes " << include.target;
    }
}

TEST(Floors, WhatTheLibraryOffersToProgramsIsUsed) {
    const std::vector<Include> includes = IncludesOfTheTree();
    for (const std::string &target : OfferedToPrograms()) {
        EXPECT_TRUE(std::ranges::any_of(includes, [&](const Include &include) {
            return include.target == target && include.file.starts_with("tools/");
        })) << target;
    }
}

TEST(Floors, FoldersDoNotIncludeEachOtherInACycle) {
    EXPECT_THAT(FolderCircles(IncludesOfTheTree()), IsEmpty());
}

// The checks themselves ---------------------------------------------------------------------------

struct EdgeRow {
    Include include;
    const char *wrong;
};

TEST(FloorsCheck, KnowsUpFromDown) {
    const EdgeRow kRows[] = {
        {{"tools/zafoldap/a.cpp", "tools/cli/b.h"}, ""},
        {{"tools/zafoldap/a.cpp", "include/zafoldap/search.h"}, ""},
        {{"tools/zafoldap/user/a.cpp", "tools/zafoldap/b.h"}, ""},
        {{"tools/cli/a.cpp", "base/b.h"}, ""},
        {{"src/server/a.cpp", "src/accounts/b.h"}, ""},
        {{"src/accounts/a.cpp", "src/core/b.h"}, ""},
        {{"host/sdk/a.cpp", "host/core/b.h"}, ""},
        {{"host/sdk/a.cpp", "base/b.h"}, ""},
        {{"include/zafoldap.h", "platform/b.h"}, ""},
        {{"tools/cli/a.cpp", "host/core/b.h"}, "tools/cli does not stand on host"},
        {{"tools/cli/a.cpp", "tools/zafoldap/b.h"}, "tools/cli does not stand on tools/zafoldap"},
        {{"tools/zafoldap/a.cpp", "src/accounts/nfs_source.h"}, ""},
        {{"tools/zafoldap/a.cpp", "src/accounts/b.h"},
         "tools/zafoldap does not stand on src/accounts"},
        {{"tools/cli/a.cpp", "src/core/b.h"}, "tools/cli does not stand on src/core"},
        {{"tools/zafoldap/a.cpp", "tools/zafoldapserver/b.h"},
         "tools/zafoldap does not stand on tools/zafoldapserver"},
        {{"host/core/a.cpp", "src/frame/b.h"}, "host does not stand on src/frame"},
        {{"host/core/a.cpp", "tools/cli/b.h"}, "host does not stand on tools/cli"},
        {{"host/core/a.cpp", "include/zafoldap.h"}, "host does not stand on include"},
        {{"src/core/a.cpp", "host/core/b.h"}, "src/core does not stand on host"},
        {{"src/core/a.cpp", "src/accounts/b.h"}, "src/core does not stand on src/accounts"},
        {{"src/accounts/a.cpp", "src/server/b.h"}, "src/accounts does not stand on src/server"},
        {{"src/frame/a.cpp", "src/core/b.h"}, "src/frame does not stand on src/core"},
        {{"base/a.cpp", "platform/error.h"}, "base does not stand on platform"},
        {{"platform/a.h", "include/zafoldap.h"}, "platform does not stand on include"},
        {{"cellar/a.cpp", "base/b.h"}, "cellar/a.cpp stands on no floor"},
    };
    for (const EdgeRow &row : kRows)
        EXPECT_EQ(WrongWith(row.include), row.wrong) << row.include.file;
}

TEST(FloorsCheck, FindsCyclesOfAnyLength) {
    EXPECT_THAT(FolderCircles({{"a/1.h", "b/1.h"}, {"b/1.h", "c/1.h"}, {"a/1.h", "c/1.h"}}),
                IsEmpty());
    EXPECT_THAT(FolderCircles({{"a/1.h", "a/2.h"}, {"a/2.h", "a/1.h"}}), IsEmpty());
    EXPECT_THAT(FolderCircles({{"a/1.h", "b/1.h"}, {"b/2.h", "a/2.h"}}), ElementsAre("a b"));
    EXPECT_THAT(FolderCircles({{"a/1.h", "b/1.h"},
                               {"b/1.h", "c/1.h"},
                               {"c/1.h", "a/1.h"},
                               {"x/1.h", "a/1.h"},
                               {"x/1.h", "y/1.h"},
                               {"y/1.h", "x/1.h"}}),
                ElementsAre("a b c", "x y"));
}

TEST(FloorsCheck, ReadsTheIncludesOfEveryFloor) {
    const std::vector<Include> includes = IncludesOfTheTree();
    for (const char *floor : {"base/", "include/", "host/", "src/frame/", "src/server/",
                              "tools/cli/", "tools/zafoldap/"}) {
        EXPECT_TRUE(std::ranges::any_of(includes, [&](const Include &include) {
            return include.file.starts_with(floor);
        })) << floor;
    }
    EXPECT_EQ(
        std::ranges::count(includes, Include{"include/zafoldap.h", "include/zafoldap/ldif.h"}), 1);
}

}  // namespace
