// SPDX-License-Identifier: Apache-2.0
//
// Base DNs that a real server suggests for a new connection.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

TEST(SuggestedBaseDN, AreAllTreesOfTheServerOverEveryTransport) {
    const std::pair<const char *, int> transports[] = {
        {"localhost:389", 0}, {"localhost:636", 1}, {"localhost:389", 2}};
    for (const auto &[uri, ssl] : transports) {
        StringList list;
        EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(Connection(uri, ssl).BindAs("cn=nobody", "ignored"),
                                               list.Slot()),
                  0);
        EXPECT_THAT(list.Content(), testing::ElementsAre("dc=example,dc=com", "dc=example,dc=org"))
            << ssl;
    }
}

TEST(SuggestedBaseDN, IsAFailureWithoutAServer) {
    StringList list;
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(Connection("localhost:9"), list.Slot()), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 255);
}

}  // namespace
}  // namespace zafo::test
