// SPDX-License-Identifier: Apache-2.0
//
// Enabling on unexpected machines, and resetting.
#include <filesystem>

#include "platform/service.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class NewMachine : public NewMachineTest {};

TEST_F(NewMachine, SuffixWithoutDomainComponentFailsBeforeTheDatabaseIsTouched) {
    const ServerSettings settings{.suffix = "o=home"};
    EXPECT_EQ(Enable(settings), -1);
    EXPECT_THAT(std::vector<fs::path>(fs::directory_iterator(kDatabase), {}), IsEmpty());
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    EXPECT_EQ(ServerPid(), 0);
}

TEST_F(NewMachine, ResetOfARunningServerLeavesNothingOfIt) {
    ASSERT_EQ(Enable(settings_), 0);
    const std::string sid = DomainSIDs().at(0);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_EQ(ServerPid(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    EXPECT_FALSE(fs::exists(kConfiguration));
    EXPECT_FALSE(fs::exists(kAccessRules));
    EXPECT_THAT(std::vector<fs::path>(fs::directory_iterator(kDatabase), {}),
                ElementsAre(fs::path(kDatabase) / "DB_CONFIG"));

    ASSERT_EQ(Enable(settings_), 0);
    EXPECT_THAT(ContentDNs(), ElementsAreArray(DirectoryDNs(settings_.suffix)));
    EXPECT_NE(DomainSIDs().at(0), sid);
}

// The database keeps both trees; the server serves the one in its configuration.
TEST_F(NewMachine, AnotherSuffixOnTheSameDatabaseHidesTheFirstTreeAndKeepsIt) {
    ASSERT_EQ(Enable(settings_), 0);
    const ServerSettings other{.suffix = "dc=other,dc=example"};
    EXPECT_EQ(Enable(other), 0);
    EXPECT_THAT(ContentDNs(), SizeIs(2 * DirectoryDNs(settings_.suffix).size()));
    EXPECT_THAT(DomainSIDs(), SizeIs(2));
    const std::vector<std::string> base{"ldapsearch", "-x", "-LLL", "-s", "base", "-b"};
    const auto exit_code = [&](const std::string &suffix) {
        std::vector<std::string> argv = base;
        argv.push_back(suffix);
        return rig::RunProgram(argv).exit_code;
    };
    EXPECT_EQ(exit_code(other.suffix), 0);
    EXPECT_EQ(exit_code(settings_.suffix), 32);

    ASSERT_EQ(Enable(settings_), 0);
    EXPECT_THAT(ContentDNs(), SizeIs(2 * DirectoryDNs(settings_.suffix).size()));
    EXPECT_EQ(exit_code(settings_.suffix), 0);
    EXPECT_EQ(exit_code(other.suffix), 32);
}

class TakenNumbers : public NewMachineTest {
  protected:
    // Without the server, which is not running yet.
    void Load(const std::string &rdn,
              const std::vector<std::pair<const char *, const char *>> &attributes) const {
        ZAFOLDAP_LDIF ldif;
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
        ZAFOLDAPLdifTargetDN(&ldif, (rdn + "," + settings_.suffix).c_str());
        for (const auto &[name, value] : attributes)
            ZAFOLDAPLdifAttr(&ldif, name, "%s", value);
        ASSERT_EQ(ZAFOLDAPServerSlapadd(&ldif), 0);
    }
    std::string DN(const std::string &rdn) const { return rdn + "," + settings_.suffix; }
};

TEST_F(TakenNumbers, EndTheAddingWhereTheyAreNeeded) {
    QLIBServiceDisable(kService);
    Enable(settings_);
    Load("cn=others,cn=groups",
         {{"cn", "others"}, {"gidNumber", "1000000"}, {"objectClass", "posixGroup"}});
    ASSERT_EQ(QLIBServiceEnable(kService), 0);
    EXPECT_EQ(Enable(settings_), -1);
    EXPECT_EQ(LastCodes().library, ZAFOLDAP_ERR_GID_EXISTS);
    EXPECT_NE(ServerPid(), 0);
    EXPECT_THAT(ContentDNs(), AllOf(Contains(DN("cn=users,cn=groups")),
                                    Not(Contains(DN("cn=Directory Operators,cn=groups")))));

    const auto change = [&](const std::string &ldif) {
        return rig::RunProgram({"ldapmodify", "-x", "-ZZ", "-H", "ldap://localhost", "-D",
                                settings_.admin, "-w", settings_.password},
                               ldif)
            .exit_code;
    };
    ASSERT_EQ(change("dn: " + DN("cn=others,cn=groups") + "\nchangetype: delete\n"), 0);
    ASSERT_EQ(change("dn: " + DN("uid=other,cn=users") +
                     "\nchangetype: add\nobjectClass: account\nobjectClass: posixAccount\n"
                     "uid: other\ncn: other\nhomeDirectory: /home/other\nuidNumber: 1000000\n"
                     "gidNumber: 1000001\n"),
              0);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LastCodes().library, ZAFOLDAP_ERR_UID_EXISTS);
    EXPECT_THAT(ContentDNs(), AllOf(Contains(DN("cn=administrators,cn=groups")),
                                    Not(Contains(DN("uid=admin,cn=users")))));
}

}  // namespace
}  // namespace zafo::test
