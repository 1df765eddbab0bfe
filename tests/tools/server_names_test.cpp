// SPDX-License-Identifier: Apache-2.0
//
// Valid suffixes, administrators and passwords of the server.
#include "tools/zafoldapserver/server_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/cli/failure.h"

namespace {

using namespace zafo::cli;
using testing::HasSubstr;

template <typename Call>
std::string RefusalOf(Call call) {
    try {
        call();
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.exit_code, 2);
        return failure.message;
    }
    return "accepted";
}

TEST(Suffix, IsWrittenAsSlapdWritesIt) {
    const std::pair<const char *, const char *> kCases[] = {
        {"dc=example,dc=com", "dc=example,dc=com"},
        {"DC=Example, DC=Com", "dc=Example,dc=Com"},
        {" dc = a , o = Big Corp ", "dc=a,o=Big Corp"},
        {"dc=a,o=Größe", "dc=a,o=Größe"},
        {"dc=only", "dc=only"},
    };
    for (const auto &[typed, suffix] : kCases)
        EXPECT_EQ(CheckedSuffix(typed), suffix);
}

TEST(Suffix, IsRefusedWithTheReason) {
    const std::string label(64, 'a');
    std::string longest = "dc=a";
    while (longest.size() <= 240)
        longest += ",dc=" + std::string(40, 'b');
    const std::pair<std::string, const char *> kCases[] = {
        {"", "it is empty"},
        {"example.com", "is not a DN"},
        {"ou=x,dc=com", "does not start with \"dc=\""},
        {"cn=dc,dc=com", "does not start with \"dc=\""},
        {"dc=", "has no value"},
        {"dc=a,dc=", "has no value"},
        {"dc=a+cn=b,dc=com", "one of the characters"},
        {"dc=a\"b,dc=com", "one of the characters"},
        {"dc=a\\,b,dc=com", "one of the characters"},
        {"dc=a(b,dc=com", "one of the characters"},
        {"dc=a)b,dc=com", "one of the characters"},
        {"dc=a*,dc=com", "one of the characters"},
        {"dc=[a],dc=com", "one of the characters"},
        {"dc=a;dc=com", "one of the characters"},
        {"dc=a\nb,dc=com", "control characters"},
        {"dc=a\x7f,dc=com", "control characters"},
        {"dc=größe,dc=com", "only ASCII characters"},
        {"dc=a,o=\xff", "not UTF-8"},
        {"dc=" + label, "at most 63 characters"},
        {"dc=a,uid=b", "must be dc, o, ou, c, l, st or cn"},
        {longest, "longer than 240 bytes"},
    };
    for (const auto &[typed, reason] : kCases)
        EXPECT_THAT(RefusalOf([&] { CheckedSuffix(typed); }), HasSubstr(reason)) << typed;
}

TEST(AdminDn, IsBelowTheSuffixWhateverTheCase) {
    EXPECT_EQ(CheckedAdminDn("cn=admin, DC=Example,dc=com", "dc=example,dc=com"),
              "cn=admin,dc=example,dc=com");
    EXPECT_EQ(CheckedAdminDn("cn=Zoë,ou=x,dc=example,dc=com", "dc=example,dc=com"),
              "cn=Zoë,ou=x,dc=example,dc=com");
}

TEST(AdminDn, IsRefusedWithTheReason) {
    const std::pair<const char *, const char *> kCases[] = {
        {"cn=admin,dc=other", "not below the suffix"},
        {"dc=example,dc=com", "not below the suffix"},
        {"cn=adc=example,dc=com", "not below the suffix"},
        {"cn=,dc=example,dc=com", "has no value"},
        {"cn=a\"b,dc=example,dc=com", "one of the characters"},
        {"admin", "is not a DN"},
    };
    for (const auto &[typed, reason] : kCases)
        EXPECT_THAT(RefusalOf([&] { CheckedAdminDn(typed, "dc=example,dc=com"); }),
                    HasSubstr(reason))
            << typed;
}

TEST(ServerPassword, HasEightCharactersWhateverTheirBytes) {
    EXPECT_THAT(RefusalOf([] { CheckServerPassword("1234567"); }), HasSubstr("fewer than 8"));
    EXPECT_THAT(RefusalOf([] { CheckServerPassword("ääääääa"); }), HasSubstr("fewer than 8"));
    EXPECT_EQ(RefusalOf([] { CheckServerPassword("ääääääää"); }), "accepted");
}

}  // namespace
