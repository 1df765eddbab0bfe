// SPDX-License-Identifier: Apache-2.0
//
// What is logged about a failing platform while the debug switch is on.
#include "tests/accounts/writing_fixture.h"
#include "tests/seam/seam.h"
#include "zafoldap.h"

namespace zafo::seam_test {
namespace {

using core_test::kStaleLdapCode;
using testing::ElementsAre;
using testing::StartsWith;

class DebugSeam : public accounts_test::WritingTest, public SeamTest {
  protected:
    void SetUp() override { ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1); }
};

TEST_F(DebugSeam, SearchThatCannotBeStartedLogsItsCommandAlone) {
    hooks_.open = [](const Texts &, const std::string &) { return nullptr; };
    const ZAFOLDAP_SEARCH_REQUEST request{};
    const auto handler = [](const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                            const ZAFOLDAP_RESULT *, void *) { return 0; };
    EXPECT_EQ(ZAFOLDAPSearchResultGet(&host_, &request, handler, nullptr), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(StartsWith("search command: ")));
    ExpectSlots(kStaleLdapCode, 0x0900);
}

TEST_F(DebugSeam, SearchForBaseDNsThatCannotBeStartedLogsTheExistingOnes) {
    hooks_.open = [](const Texts &, const std::string &) { return nullptr; };
    core_test::List found{"dc=x"};
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(&host_, found.Address()), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(StartsWith("search command: "), "suggest basedn: 1", "  [dc=x]"));
    ExpectSlots(kStaleLdapCode, 0x0900);
}

TEST_F(DebugSeam, StatisticsLogTheirCommandAndTheToolsExitCode) {
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying({"dn: a\n\ndn: b\n\n"});
    };
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, "user"), 2);
    EXPECT_THAT(LoggedTexts(), ElementsAre(StartsWith("search command: ")));
    hooks_.open = [](const Texts &, const std::string &) { return ToolSaying({}, 50 << 8); };
    log_.Clear();
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, "group"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(StartsWith("search command: "), "ldapsearch return 50"));
}

TEST_F(DebugSeam, DefaultAccountsWithoutAListForTheAdministratorSaySo) {
    hooks_.get_section = [](const char *, const char *, QLIBSZHASH *map) {
        QLIBCSzHashSetValue(map, "uri", "server");
        QLIBCSzHashSetValue(map, "basedn", "dc=x");
        return 2;
    };
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying(
            {"dn: cn=x\nsubschemaSubentry: cn=s\nobjectClasses: ( 1 NAME 'top' )\n\n"});
    };
    hooks_.list_push = [](QLIBSZLIST **list, const char *text) {
        return std::string(text) == "admin" ? -1 : RealListPush(list, text);
    };
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LoggedTexts().back(), "out of memory.");
    EXPECT_THAT(LoggedTexts(), testing::Contains("default user: [admin] is already exists, skip"));
    EXPECT_EQ(QLIBCErrGet(), 0x0200);
}

TEST_F(DebugSeam, CheckOfAConnectionThatCannotBeClonedIsLogged) {
    ZAFOLDAP_HOST record;
    ASSERT_EQ(ZAFOLDAPHostInit(&record), 0);
    ZAFOLDAPHostSet(&record, LDAP_HOST_ATTR_URI, "server");
    hooks_.open = [](const Texts &, const std::string &) { return ToolSaying({}); };
    hooks_.list_alloc = [&](int capacity) -> QLIBSZLIST * {
        return capacity == 4711 ? nullptr : RealListAlloc(capacity);
    };
    record.plistBuffer->nCapacity = 4711;  // only the clone has this capacity
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(&record), -1);
    EXPECT_EQ(LoggedTexts().back(), "clone host info failed");
    ZAFOLDAPHostFree(&record);
}

}  // namespace
}  // namespace zafo::seam_test
