// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/entry_sieve.h"

#include <gtest/gtest.h>

namespace zafo::entry_sieve_test {
namespace {

using namespace zafo::backup;

constexpr const char *kAdmin = "cn=admin,o=x";
constexpr const char *kOthers = "dn: o=x\no: x\n\ndn: cn=a,o=x\ncn: a\n\n";
constexpr const char *kForms[] = {
    "dn: cn=admin,o=x\ncn: admin\n\n",
    "dn: CN=Admin, O=x\n\n",
    "dn: cn=ad\n min,o\n =x\ncn: admin\n folded\n\n",
    "dn:: Y249YWRtaW4s\n bz14\ncn: admin\n\n",
    "dn: cn=\\61dmin,o=x\ncn: admin\n\n",
};

struct Sieved {
    std::string text;
    std::uint64_t found;
};

Sieved Sieve(std::string_view dn, bool leaves_out, std::string_view text, size_t block) {
    EntrySieve sieve(dn, leaves_out);
    std::string result;
    const auto take = [&](std::string_view part) { result += part; };
    for (; !text.empty(); text.remove_prefix(std::min(block, text.size())))
        sieve.Add(text.substr(0, block), take);
    sieve.Finish(take);
    return {result, sieve.Found()};
}

TEST(EntrySieve, LeavesTheEntryOutWhereverABlockEnds) {
    for (const char *form : kForms) {
        const std::string text = std::string(form) + kOthers + form;
        for (size_t block = 1; block <= text.size(); ++block) {
            const Sieved sieved = Sieve(kAdmin, true, text, block);
            ASSERT_EQ(sieved.text, kOthers) << form << block;
            ASSERT_EQ(sieved.found, 2u) << form << block;
        }
    }
}

TEST(EntrySieve, FindsItWithoutChangingAByte) {
    for (const char *form : kForms) {
        const std::string text = std::string("# c\n\n") + kOthers + form + "\n";
        for (size_t block = 1; block <= text.size(); ++block) {
            const Sieved sieved = Sieve(kAdmin, false, text, block);
            ASSERT_EQ(sieved.text, text) << form << block;
            ASSERT_EQ(sieved.found, 1u) << form << block;
        }
    }
}

TEST(EntrySieve, FindsNoneWithoutADn) {
    EXPECT_EQ(Sieve("", true, kForms[0], 7).text, kForms[0]);
}

TEST(EntrySieve, IsNotTakenInByAValue) {
    const std::string text = "dn: o=x\na: b\n dn: cn=admin,o=x\n\n";
    EXPECT_EQ(Sieve(kAdmin, true, text, 100).text, text);
}

}  // namespace
}  // namespace zafo::entry_sieve_test
