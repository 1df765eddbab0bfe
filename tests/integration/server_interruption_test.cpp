// SPDX-License-Identifier: Apache-2.0
//
// Interrupted enabling: the process and its current tool are killed with kill -9 at every tool it
// runs, and the server too. Enabling again results in a working server.
#include <signal.h>

#include "platform/service.h"
#include "tests/integration/killing_tools.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

using testing::ElementsAreArray;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

using Moment = KillingTools::Moment;

constexpr int kSilly = 200;  // far more calls than there are

class Interrupted : public NewMachineTest {
  protected:
    void EnableOnly() const {
        const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
        ZAFOLDAPServerEnable(&record);
    }

    bool Binds(const std::string &dn) const {
        return rig::RunProgram({"ldapwhoami", "-x", "-ZZ", "-H", "ldap://localhost", "-D", dn, "-w",
                                settings_.password})
                   .exit_code == 0;
    }

    // Expects all accounts, and the administrator's membership and password.
    void ExpectAccounts() const {
        std::vector<std::string> dns;
        int memberships = 0;
        for (const rig::LdifEntry &entry : Content()) {
            dns.push_back(entry.dn);
            memberships += static_cast<int>(entry.All("memberUid").size());
        }
        EXPECT_THAT(dns, UnorderedElementsAreArray(DirectoryDNs(settings_.suffix)));
        EXPECT_EQ(memberships, 2);
        EXPECT_TRUE(Binds("uid=admin,cn=users," + settings_.suffix));
    }
    void ExpectWorkingServer() const {
        ExpectAccounts();
        EXPECT_THAT(DomainSIDs(), SizeIs(1));
        EXPECT_TRUE(Binds(settings_.admin));
        EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
        ZAFOLDAP_HOST host;
        EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, nullptr), 1);
        EXPECT_GT(ZAFOLDAPSambaUIDGen(&host), 1000000);
        ZAFOLDAPHostFree(&host);
    }

    KillingTools tools_;
};

// With the service disabled, enabling ends where the server would be started, which saves two
// seconds.
class BeforeStart : public Interrupted {
  protected:
    void SetUp() override {
        Interrupted::SetUp();
        QLIBServiceDisable(kService);
    }

    void ExpectWholeSkeletonWhenEnabledAgain() {
        EXPECT_EQ(Enable(settings_), -1);
        EXPECT_EQ(LastCodes().platform, QLIB_ERR_SERVICE_START);
        EXPECT_THAT(ContentDNs(), ElementsAreArray(SkeletonDNs(settings_.suffix)));
        EXPECT_THAT(DomainSIDs(), SizeIs(1));
        EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
    }
    void ForgetDatabase() const { EXPECT_EQ(ZAFOLDAPServerDBReset(), 0); }

    bool Kills(int call, Moment moment) const {
        return tools_.Kills([this] { EnableOnly(); }, call, moment);
    }
};

TEST_F(BeforeStart, AtEveryToolIsRepaired) {
    int call = 1;
    while (call < kSilly && Kills(call, Moment::kDuring)) {
        SCOPED_TRACE("call " + std::to_string(call));
        ExpectWholeSkeletonWhenEnabledAgain();
        ForgetDatabase();
        ++call;
    }
    EXPECT_EQ(call, 24) << "calls in all, and one";
}

TEST_F(BeforeStart, AgainAndAgainIsRepaired) {
    tools_.Count("slapadd");
    int times = 0;
    // Each time, one more entry exists.
    while (times < kSilly && Kills(2, Moment::kBefore))
        ++times;
    EXPECT_EQ(times, 8);
    ExpectWholeSkeletonWhenEnabledAgain();
}

class AfterStart : public Interrupted {
  protected:
    // As if the server had been started but no account been added yet.
    void DeleteAccounts() const {
        std::string ldif;
        for (const char *rdn : {"uid=admin,cn=users,", "cn=administrators,cn=groups,",
                                "cn=Directory Operators,cn=groups,", "cn=users,cn=groups,"})
            ldif += "dn: " + (rdn + settings_.suffix) + "\nchangetype: delete\n\n";
        EXPECT_EQ(rig::RunProgram({"ldapmodify", "-c", "-x", "-ZZ", "-H", "ldap://localhost", "-D",
                                   settings_.admin, "-w", settings_.password},
                                  ldif)
                      .exit_code,
                  0);
    }
    bool KillsAdding(int call, Moment moment) const {
        return tools_.Kills([] { ZAFOLDAPServerDefaultAdd(); }, call, moment);
    }
};

// Reading tools change nothing, so only the writing ones are tested.
TEST_F(AfterStart, AtEveryChangeOfTheAccountsIsRepaired) {
    ASSERT_EQ(Enable(settings_), 0);
    tools_.Count("ldapmodify ldappasswd");
    for (const Moment moment : {Moment::kBefore, Moment::kDuring}) {
        DeleteAccounts();
        int call = 1;
        while (call < kSilly && KillsAdding(call, moment)) {
            SCOPED_TRACE("call " + std::to_string(call) +
                         (moment == Moment::kBefore ? ", before it" : ", in the middle"));
            EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
            ExpectAccounts();
            DeleteAccounts();
            ++call;
        }
        EXPECT_EQ(call, 12) << "changes in all, and one";
    }
}

struct KillRow {
    const char *tool;
    int call;
    Moment moment;
    bool server_too;
};

constexpr KillRow kKills[] = {
    {"ldap-server-start", 1, Moment::kBefore, false},
    {"ldap-server-start", 1, Moment::kDuring, false},
    {"ldapmodify", 5, Moment::kBefore, true},
    {"ldappasswd", 1, Moment::kDuring, true},
};

TEST_F(AfterStart, OfTheServerItselfIsAlsoRepaired) {
    for (const KillRow &row : kKills) {
        SCOPED_TRACE(std::string(row.tool) + (row.server_too ? " and the server" : ""));
        ForgetServer();
        QLIBServiceEnable(kService);
        tools_.Count(row.tool);
        EXPECT_TRUE(tools_.Kills([this] { EnableOnly(); }, row.call, row.moment));
        if (row.server_too) {
            const int pid = ServerPid();
            ASSERT_GT(pid, 1);
            EXPECT_EQ(kill(pid, SIGKILL), 0);
        }
        EXPECT_EQ(Enable(settings_), 0) << testing::PrintToString(LastCodes());
        ExpectWorkingServer();
    }
}

}  // namespace
}  // namespace zafo::test
