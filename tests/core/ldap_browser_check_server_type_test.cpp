// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include <cstring>
#include <tuple>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "tests/core/without_tool.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The server's answer to one of the two questions.
enum class Answer { kEntry, kNone, kNoSuchObject, kOtherError, kDies };

void Script(rig::FakeTools &tools, Answer answer) {
    auto script = tools.On("ldapsearch");
    script.IgnoreSignals();
    switch (answer) {
        case Answer::kEntry:
            script.Output("dn: marker\n\n");
            break;
        case Answer::kNone:
            break;
        case Answer::kNoSuchObject:
            script.Exit(32);
            break;
        case Answer::kOtherError:
            script.Exit(255);
            break;
        case Answer::kDies:
            script.Die(SIGKILL);
            break;
    }
}

struct ServerTypeCase {
    Answer own, apple;
    int result, type;  // type 9: unchanged
    size_t calls;
};

constexpr ServerTypeCase kCases[] = {
    {Answer::kEntry, Answer::kEntry, 0, 1, 1},
    {Answer::kEntry, Answer::kOtherError, 0, 1, 1},
    {Answer::kNone, Answer::kEntry, 0, 2, 2},
    {Answer::kNone, Answer::kNone, 0, 0, 2},
    {Answer::kNoSuchObject, Answer::kEntry, 0, 2, 2},
    {Answer::kNoSuchObject, Answer::kNone, 0, 0, 2},
    {Answer::kNoSuchObject, Answer::kNoSuchObject, 0, 0, 2},
    {Answer::kOtherError, Answer::kEntry, -1, 9, 1},
    {Answer::kDies, Answer::kEntry, -1, 9, 1},
    {Answer::kNone, Answer::kOtherError, -1, 9, 2},
    {Answer::kNoSuchObject, Answer::kDies, -1, 9, 2},
};

class ServerType : public CoreTest {
  protected:
    ServerType() { host_.nServerType = 9; }
};

TEST_F(ServerType, FollowsTheMarkersInTheirOrder) {
    for (const ServerTypeCase &row : kCases) {
        SCOPED_TRACE(testing::Message() << "own " << static_cast<int>(row.own) << " apple "
                                        << static_cast<int>(row.apple));
        tools_.Reset();
        Script(tools_, row.own);
        Script(tools_, row.apple);
        host_.nServerType = 9;
        EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), row.result);
        EXPECT_EQ(host_.nServerType, row.type);
        EXPECT_EQ(tools_.Calls().size(), row.calls);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(ServerType, AsksForTheMarkersWithTheConnectionsBind) {
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "pw";
    host_.nSSLType = 2;
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), 0);
    const auto calls = tools_.Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_THAT(calls[0].argv,
                ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-Z",
                            "-D", "cn=admin", "-w", "pw", "-b", "cn=zafoconf,dc=example,dc=com",
                            "-s", "base", "dn"));
    EXPECT_THAT(calls[1].argv,
                ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-Z",
                            "-D", "cn=admin", "-w", "pw", "-b", "dc=example,dc=com", "-s", "sub",
                            "(&(objectClass=organizationalUnit)(ou=macosxodconfig))", "dn"));
}

TEST_F(ServerType, FailureLeavesTheToolsCodeAsTheLibraryError) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

TEST_F(ServerType, ToolThatCannotBeStartedFails) {
    const WithoutTool without("ldapsearch");
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), -1);
    EXPECT_EQ(host_.nServerType, 9);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

TEST_F(ServerType, MarkerWhoseNameIsTooLongIsNotAskedFor) {
    const std::string room(1023 - std::strlen("cn=zafoconf,"), 'x');
    for (const auto &[base, result, calls] : {std::tuple{room, 0, 2U}, {room + "x", -1, 0U}}) {
        tools_.Reset();
        host_.szBaseDN = base.c_str();
        EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), result);
        EXPECT_EQ(tools_.Calls().size(), calls);
    }
}

TEST_F(ServerType, ManyEntriesOfAFloodingServerAreNotWaitedFor) {
    tools_.On("ldapsearch").Exit(32);
    tools_.On("ldapsearch").Flood("dn: marker\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), 0);
    EXPECT_EQ(host_.nServerType, 2);
}

}  // namespace
}  // namespace zafo::core_test
