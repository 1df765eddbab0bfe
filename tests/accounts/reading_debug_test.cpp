// SPDX-License-Identifier: Apache-2.0
//
// What connection checks log only while the debug switch is on.
#include "tests/core/connection_fixture.h"

namespace zafo::accounts_test {
namespace {

using core_test::Texts;
using testing::ElementsAre;

class DebugCheck : public core_test::ConnectionTest {
  protected:
    void SetUp() override { ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1); }

    Texts Logged() {
        Texts texts;
        for (const std::string &message : log_.Messages()) {
            if (message.starts_with("ldap_client_check_bind_info."))
                texts.push_back(message.substr(message.find(' ') + 1));
        }
        return texts;
    }
};

TEST_F(DebugCheck, WithoutABindingIsLogged) {
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_THAT(Logged(), ElementsAre("is not binded"));
    EXPECT_EQ(log_.Messages().size(), 1u);
}

TEST_F(DebugCheck, BindingThatCannotBeReadIsLogged) {
    Write(core_test::kNslcdConf, "uri ldap://server\nbase dc=example,dc=com\n");
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_THAT(Logged(), ElementsAre("get bind info failed"));
}

}  // namespace
}  // namespace zafo::accounts_test
