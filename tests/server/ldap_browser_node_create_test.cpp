// SPDX-License-Identifier: Apache-2.0
//
// Adding a container or the base entry through a running server.
#include <csignal>

#include "tests/core/without_tool.h"
#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

const std::string kAddCommand =
    "ldapmodify -ax -H ldap://server -D cn=admin,dc=example,dc=com -f FILE -w geheim";

class NodeCreate : public ServerTest {
  protected:
    int Create(const std::string &name = "staff") {
        return ZAFOLDAPBrowserNodeCreate(&host_, name.c_str());
    }
    // Both creations, with ldapmodify scripted by `script`.
    void ExpectFailures(const std::function<void()> &script, const Texts &before, int ldap_code,
                        int platform_code) {
        const std::string shown = platform_code == 0x0900 ? "[0x0900]" : "[0x1234]";
        const std::pair<std::function<int()>, std::string> kCalls[] = {
            {[this] { return Create(); }, "ldap modify failed [staff, ] " + shown},
            {[this] { return ZAFOLDAPBrowserRootNodeCreate(&host_); },
             "ZAFOLDAPModify failed [dc=example,dc=com] " + shown},
        };
        for (const auto &[call, text] : kCalls) {
            tools_.Reset();
            script();
            log_.Clear();
            SetStaleCodes();
            EXPECT_EQ(call(), -1);
            Texts expected = before;
            expected.push_back(text);
            EXPECT_EQ(LoggedTexts(), expected);
            ExpectSlots(ldap_code, platform_code);
        }
    }
};

TEST_F(NodeCreate, AddsAContainerBelowTheBase) {
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(Commands(), ElementsAre(kAddCommand));
    EXPECT_EQ(LastChange(),
              "dn: cn=staff,dc=example,dc=com\ncn: staff\nobjectClass: organizationalRole\n");
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(NodeCreate, AddsTheBaseEntry) {
    const std::pair<const char *, const char *> kBases[] = {
        {"dc=example,dc=com", "example"},
        {"ou=all,DC=Big Company,dc=com", "Big Company"},
        {"o=x,dc=only", "only"},
    };
    for (const auto &[base, component] : kBases) {
        host_.szBaseDN = base;
        EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&host_), 0);
        EXPECT_EQ(LastChange(),
                  std::string("dn: ") + base + "\ndc: " + component + "\nobjectClass: domain\n");
        EXPECT_EQ(Commands().back(), kAddCommand);
    }
}

TEST_F(NodeCreate, NameIsEscapedInTheDN) {
    EXPECT_EQ(Create("a, b+c %s#"), 0);
    EXPECT_EQ(LastChange(),
              "dn: cn=a\\, b\\+c %s#,dc=example,dc=com\ncn: a, b+c %s#\n"
              "objectClass: organizationalRole\n");
}

TEST_F(NodeCreate, ExistingEntryIsAFailureLikeEveryOther) {
    for (const int code : {1, 32, 50, 68, 255})
        ExpectFailures([=, this] { tools_.On("ldapmodify").Exit(code); }, {}, code,
                       kStalePlatformCode);
}

TEST_F(NodeCreate, KilledToolIsAFailure) {
    ExpectFailures([this] { tools_.On("ldapmodify").Die(SIGKILL); },
                   {"ldapmodify terminate abnormal 9"}, kStaleLdapCode, kStalePlatformCode);
}

TEST_F(NodeCreate, MissingToolIsAFailure) {
    const core_test::WithoutTool none("ldapmodify");
    ExpectFailures([] {}, {"Execute [] failed!"}, kStaleLdapCode, 0x0900);
}

TEST_F(NodeCreate, BaseWithoutADomainComponentIsLogged) {
    for (const char *base : {"o=company", "", "dc"}) {
        host_.szBaseDN = base;
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&host_), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("ZAFOLDAPDNFirstDomainComponent [" +
                                               std::string(base) + "] failed. [0x0F00]"));
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(NodeCreate, DNThatIsTooLongIsNotCut) {
    const size_t room = 1023 - std::string("cn=," + kBase).size();
    EXPECT_EQ(Create(std::string(room, 'x')), 0);
    EXPECT_EQ(Create(std::string(room + 1, 'x')), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(tools_.Calls(), SizeIs(1));
}

TEST_F(NodeCreate, EntryThatTheDiskHasNoRoomForIsNotSent) {
    EXPECT_EQ(OnAFullDisk([this] { return Create(); }), -1);
    ExpectSlots(kStaleLdapCode, 0x0B00);
    EXPECT_THAT(LoggedTexts(), ElementsAre(testing::HasSubstr("is cut short: File too large"),
                                           "ldap modify failed [staff, ] [0x0B00]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(NodeCreate, BaseOfTwoLinesIsRefused) {
    host_.szBaseDN = "dc=com\nchangetype: delete";
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&host_), -1);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::server_test
