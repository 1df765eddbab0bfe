// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/entry_guard.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/backup/archive_fault.h"

namespace zafo::entry_guard_test {
namespace {

using namespace zafo::backup;
using testing::HasSubstr;

// Why a text is refused when it comes in blocks of that size; empty: it is accepted.
std::string Refusal(std::string_view text, size_t block) {
    EntryGuard guard;
    try {
        for (; !text.empty(); text.remove_prefix(std::min(block, text.size())))
            guard.Add(text.substr(0, block));
        return {};
    } catch (const Fault &fault) {
        EXPECT_EQ(fault.code, Exit::kDamaged);
        return fault.what();
    }
}

TEST(EntryGuard, LetsThroughWhatSlapcatWritesInBlocksOfEverySize) {
    const std::string text =
        "# no data for entry id=00000005\n\n"
        "dn: dc=example,dc=com\nobjectClass: domain\ndc: example\ndescription;lang-de: a\n"
        "1.2.3.4: x\nempty:\nempty::\ndescription:: IHg=\ndescription: a : b :< c\n\n\n"
        "dn:: Y249dHfDtixkYz1leGFtcGxlLGRjPWNv\n bQ==\nuserPassword:: e0NSWVBU\n fQ==\n\n";
    for (size_t block = 1; block <= text.size(); ++block)
        ASSERT_EQ(Refusal(text, block), "") << block;
}

struct Case {
    const char *text;
    const char *words;
};

const Case kCases[] = {
    {"dn: o=x\na:< file:///x\n\n",
     "line 2 of its entries, in the entry \"dn: o=x\", has a value to be read from a file or URL "
     "(\":<\")"},
    {"dn: o=x\nb: c\n\na: b\n\n", "line 4 of its entries is where an entry must begin"},
    {"include: file:///x\n\n", "line 1 of its entries is where an entry must begin"},
    {"DN: o=x\n\n", "is where an entry must begin"},
    {" dn: o=x\n\n", "continues a value that has not begun"},
    {"5\ndn: o=x\n\n", "is not a line of an entry"},
    {"dn: o=x\na:\n b\n\n", "line 3 of its entries, in the entry \"dn: o=x\", continues a value"},
    {"dn: o=x\na\n :< b\n\n", "is not a line of an entry"},
    {"dn: o=x\n# a\n\n", "is not a line of an entry"},
    {"dn: o=x\na:b\n\n", "in a form that slapcat never writes"},
    {"dn: o=x\na: <b\n\n", "in a form that slapcat never writes"},
    {"dn: o=x\na::< b\n\n", "has a value to be read"},
    {"dn: o=x\na: b\r\n\n", "contains a control character"},
    {"dn: o=x\n\ta: b\n\n", "contains a control character"},
    {"dn: o=x\nDn: o=y\n\n", "says \"Dn\", which no entry has"},
    {"dn: o=x\nControl: 1\n\n", "says \"Control\""},
    {"dn: o=x\nchangetype: add\n\n", "says \"changetype\""},
};

TEST(EntryGuard, RefusesEverythingElseInBlocksOfEverySize) {
    for (const Case &one : kCases) {
        const std::string_view text = one.text;
        for (size_t block = 1; block <= text.size(); ++block)
            ASSERT_THAT(Refusal(text, block), HasSubstr(one.words)) << text << block;
    }
}

TEST(EntryGuard, BoundsAValueAndAnEntry) {
    const std::string line = " " + std::string(4095, 'a') + "\n";
    std::string value = "dn: o=x\na: b\n";
    while (value.size() <= kLongestValue)
        value += line;
    EXPECT_THAT(Refusal(value, 1U << 17), HasSubstr("has a value of more than 16777216 bytes"));
}

}  // namespace
}  // namespace zafo::entry_guard_test
