// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/entry_scan.h"

#include <gtest/gtest.h>

namespace zafo::entry_scan_test {
namespace {

using namespace zafo::backup;

constexpr const char *kSuffix = "dc=example,dc=com";

EntryScan Scanned(std::string_view text, size_t block = 0, std::string_view suffix = kSuffix) {
    EntryScan scan(suffix);
    if (block == 0) block = text.size() + 1;
    for (size_t at = 0; at < text.size(); at += block)
        scan.Add(text.substr(at, block));
    return scan;
}

struct Case {
    const char *name;
    const char *text;
    std::uint64_t entries;
    bool complete;
    bool stray;
    bool suffix;
    std::uint64_t end;
};

void PrintTo(const Case &one, std::ostream *out) {
    *out << one.name;
}

class EntryScanCase : public ::testing::TestWithParam<Case> {};

// A block may end between any two bytes.
TEST_P(EntryScanCase, IsSeenInBlocksOfEverySize) {
    const Case &one = GetParam();
    const std::string_view text = one.text;
    for (size_t block = 1; block <= text.size() + 1; ++block) {
        const EntryScan scan = Scanned(text, block);
        ASSERT_EQ(scan.Entries(), one.entries) << block;
        ASSERT_EQ(scan.IsComplete(), one.complete) << block;
        ASSERT_EQ(scan.HasStrayText(), one.stray) << block;
        ASSERT_EQ(scan.SawSuffix(), one.suffix) << block;
        ASSERT_EQ(scan.EndOfRecords(), one.end) << block;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, EntryScanCase,
    ::testing::Values(
        Case{"Nothing", "", 0, true, false, false, 0},
        Case{"One", "dn: dc=example,dc=com\ndc: x\n\n", 1, true, false, true, 29},
        Case{"Two", "dn: dc=example,dc=com\n\ndn: o=x\nb: c\n\n", 2, true, false, true, 37},
        Case{"Encoded", "dn:: ZGM9ZXhhbXBsZSxkYz1jb20=\ndc: x\n\n", 1, true, false, true, 37},
        Case{"Folded", "dn: dc=exam\n ple,dc\n =com\n\n", 1, true, false, true, 27},
        Case{"EncodedAndFolded", "dn:: ZGM9ZXhhbXBs\n ZSxkYz1jb20=\na: b\n\n", 1, true, false, true,
             38},
        Case{"SuffixLater", "dn: o=x\n\ndn: DC=Example, DC=com\n\n", 2, true, false, true, 33},
        Case{"SuffixIsOnlyPartOfTheDn", "dn: cn=a,dc=example,dc=com\n\n", 1, true, false, false,
             28},
        Case{"NoEmptyLineAtTheEnd", "dn: o=x\na: b\n", 1, false, false, false, 0},
        Case{"CutInALine", "dn: o=x\n\ndn: o=y\na: ", 2, false, false, false, 9},
        Case{"CutInTheFirstLine", "dn: o=x\n\ndn: o", 1, false, false, false, 9},
        Case{"CutBehindTheDn", "dn: dc=example,dc=com\n", 1, false, false, false, 0},
        Case{"ManyEmptyLines", "\n\ndn: o=x\n\n\n\n", 1, true, false, false, 13},
        Case{"DnInsideARecord", "dn: o=x\ndn: o=y\n\n", 1, true, false, false, 17},
        Case{"ValueThatLooksLikeADn", "dn: o=x\na: b\n dn: dc=example,dc=com\n\n", 1, true, false,
             false, 37},
        Case{"Comment", "# entry-id 1\ndn: dc=example,dc=com\n\n", 1, true, false, true, 36},
        Case{"CommentAlone", "# no data for entry id=00000005\n\n", 0, true, false, false, 33},
        Case{"StrayText", "slapcat: oh\n\ndn: o=x\n\n", 1, true, true, false, 22},
        Case{"RecordWithoutDn", "a: b\nc: d\n\n", 0, true, true, false, 11},
        Case{"ShortStrayLine", "d\n\n", 0, true, true, false, 3}),
    [](const auto &one) { return one.param.name; });

TEST(EntryScan, LooksForNoSuffixWhenNoneIsWanted) {
    EXPECT_FALSE(Scanned("dn: dc=example,dc=com\n\n", 0, "").SawSuffix());
}

TEST(EntryScan, CountsLongRecords) {
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += "dn: cn=" + std::to_string(i) + "\ndescription: " + std::string(5000, 'x') + "\n\n";
    for (const size_t block : {size_t{1000}, size_t{4096}, size_t{65536}})
        EXPECT_EQ(Scanned(text, block).Entries(), 100u) << block;
}

}  // namespace
}  // namespace zafo::entry_scan_test
