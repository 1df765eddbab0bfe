// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of account look-ups and memberships.
#pragma once

#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::accounts_test {

using core_test::CoreTest;
using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using core_test::List;
using core_test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;

inline constexpr const char *kBase = "dc=example,dc=com";

// ldapsearch's arguments for a search at `base`.
inline Texts SearchWords(const std::string &base, const Texts &filter_and_attributes) {
    Texts words = {"/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-b", base};
    words.insert(words.end(), filter_and_attributes.begin(), filter_and_attributes.end());
    return words;
}

class ReadingTest : public CoreTest {
  protected:
    ReadingTest() { host_.szLoginSuffix = "example.com"; }

    // The next answer of ldapsearch; its reader may stop before the end.
    void Answer(const std::string &ldif) { tools_.On("ldapsearch").IgnoreSignals().Output(ldif); }

    // The command lines so far.
    std::vector<Texts> Commands() const {
        std::vector<Texts> commands;
        for (const rig::FakeCall &call : tools_.Calls())
            commands.push_back(call.argv);
        return commands;
    }

    static void ExpectSlots(int ldap_code, int platform_code) {
        EXPECT_EQ(ZAFOLDAPErrGet(), ldap_code);
        EXPECT_EQ(QLIBCErrGet(), platform_code);
    }
    static void ExpectSlotsUntouched() { ExpectSlots(kStaleLdapCode, kStalePlatformCode); }
};

}  // namespace zafo::accounts_test
