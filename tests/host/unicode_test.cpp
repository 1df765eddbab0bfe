// SPDX-License-Identifier: Apache-2.0
#include "platform/unicode.h"

#include <gtest/gtest.h>

namespace {

// Whether this build handles letters beyond ASCII.
constexpr bool kUnicode = sizeof(void *) == 8;

TEST(Utf8CaseCompare, IgnoresTheCaseOfAsciiLetters) {
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("Alice", "aLICE"), 0);
    EXPECT_LT(QLIBCUnicodeUTF8StrCaseCmp("alice", "BOB"), 0);
    EXPECT_GT(QLIBCUnicodeUTF8StrCaseCmp("BOB", "alice"), 0);
    EXPECT_LT(QLIBCUnicodeUTF8StrCaseCmp("", "a"), 0);
}

TEST(Utf8CaseCompare, FoldsAndComposesTheLettersOfOtherAlphabets) {
    if (!kUnicode) GTEST_SKIP() << "this build has no libunistring";
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("ZO\xC3\x8B", "zo\xC3\xAB"), 0);
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("zoe\xCC\x88", "zo\xC3\xAB"), 0);
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("STRASSE",
                                         "stra\xC3\x9F"
                                         "e"),
              0);
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("\xCE\xA3", "\xCF\x83"), 0);
    EXPECT_NE(QLIBCUnicodeUTF8StrCaseCmp("zoe", "zo\xC3\xAB"), 0);
}

TEST(Utf8CaseCompare, ComparesOtherTextByBytes) {
    if (!kUnicode) GTEST_SKIP() << "this build has no libunistring";
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("\xFF", "\xFF"), 0);
    EXPECT_NE(QLIBCUnicodeUTF8StrCaseCmp("A\xFF", "a\xFF"), 0);
}

}  // namespace
