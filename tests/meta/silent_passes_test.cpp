// SPDX-License-Identifier: Apache-2.0
//
// A test that cannot run on a machine is reported as skipped, by name.
#include "tests/meta/silent_passes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(SilentPasses, NoTestHasThem) {
    for (const auto &file : FilesBelow(kSourceDir / "tests")) {
        // The texts in the checks' own tests are pieces of tests.
        if (file.extension() != ".cpp" || file.parent_path().filename() == "meta") continue;
        EXPECT_THAT(SilentPasses(Lines(file)), IsEmpty()) << file;
    }
}

TEST(SilentPassesCheck, FindsAReturnBeforeTheFirstExpectation) {
    EXPECT_THAT(SilentPasses({"TEST_P(A, B) {", "    if (GetParam() > 1) return;",
                              "    EXPECT_EQ(1, 1);", "}"}),
                ElementsAre("2:     if (GetParam() > 1) return;"));
}

TEST(SilentPassesCheck, FindsAQuestionToTheMachineThatDoesNotSkip) {
    EXPECT_THAT(SilentPasses({"TEST(A, B) {", "    if (geteuid() == 0) {",
                              "        EXPECT_EQ(1, 1);", "    }", "}"}),
                ElementsAre("2:     if (geteuid() == 0) {"));
}

TEST(SilentPassesCheck, LeavesTestsAloneThatSkipOrExpect) {
    EXPECT_THAT(SilentPasses({"TEST(A, B) {", "    if (geteuid() != 0) GTEST_SKIP() << \"x\";",
                              "    if (chown(kPath, 1, 1) != 0)", "        GTEST_SKIP() << \"y\";",
                              "    EXPECT_EQ(1, 1);", "    if (HasFailure()) return;", "}"}),
                IsEmpty());
    EXPECT_THAT(
        SilentPasses({"TEST(A, B) {", "    std::thread loader([&] {",
                      "        if (!Open()) return;", "    });", "    EXPECT_EQ(1, 1);", "}"}),
        IsEmpty());
    EXPECT_THAT(SilentPasses({"void Helper() {", "    if (done) return;", "}"}), IsEmpty());
}

}  // namespace
