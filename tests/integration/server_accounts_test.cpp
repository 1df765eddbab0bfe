// SPDX-License-Identifier: Apache-2.0
//
// What the library adds through its own running server: default accounts, containers, automount
// maps.
#include "tests/accounts/home_fixture.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr int kAlreadyExists = 68;  // LDAP result code

// --- Default accounts -----------------------------------------------------------------------

class DefaultAccounts : public SharedServerTest {
  protected:
    static std::string Admin() { return Server().UserDN("admin"); }
};

TEST_F(DefaultAccounts, AddedAgainAreTheSame) {
    Server();
    const std::string before = Slapcat();
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    EXPECT_EQ(Slapcat(), before);
}

TEST_F(DefaultAccounts, AdminHasTheDirectoryAdministratorsPassword) {
    const auto exit_code = [](const std::string &password) {
        return Server().Client({Admin(), password}, "ldapwhoami", {}).exit_code;
    };
    constexpr int kInvalidCredentials = 49;
    EXPECT_EQ(exit_code(Server().Settings().password), 0);
    EXPECT_EQ(exit_code("correct hors"), kInvalidCredentials);
}

TEST_F(DefaultAccounts, GroupsNameTheirMember) {
    for (const char *group : {"Directory Operators", "administrators"}) {
        StringList users;
        EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(&Server().Host(),
                                                   Server().GroupDN(group).c_str(), users.Slot()),
                  1);
        EXPECT_THAT(users.Content(), ElementsAre("admin")) << group;
    }
}

TEST_F(DefaultAccounts, MemberNamesItsGroups) {
    StringList dns, names;
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(&Server().Host(), Admin().c_str(), dns.Slot(),
                                               names.Slot()),
              2);
    EXPECT_THAT(names.Content(), UnorderedElementsAre("Directory Operators", "administrators"));
}

// --- Containers --------------------------------------------------------------------------------

class Containers : public SharedServerTest {
  protected:
    static int Create(const char *name) {
        ZAFOLDAPErrReset();
        return ZAFOLDAPBrowserNodeCreate(&Server().Host(), name);
    }
};

TEST_F(Containers, AreAddedOnce) {
    const std::string dn = "cn=Zoë's box," + Server().Settings().suffix;
    EXPECT_EQ(Create("Zoë's box"), 0);
    const SearchOutcome found =
        Search(&Server().Host(), {.base = dn, .scope = "base", .attributes = {"*"}});
    ASSERT_THAT(found.entries, SizeIs(1));
    EXPECT_THAT(found.entries[0].All("cn"), ElementsAre("Zoë's box"));
    EXPECT_THAT(found.entries[0].All("objectClass"), ElementsAre("organizationalRole"));
    EXPECT_EQ(Create("Zoë's box"), -1);
    EXPECT_EQ(LastCodes().library, kAlreadyExists);
    Server().Change("dn:: " + rig::Base64(dn) + "\nchangetype: delete\n");
}

TEST_F(Containers, ThatAreTheServersOwnExist) {
    for (const char *name : {"users", "groups", "zafoconf"}) {
        EXPECT_EQ(Create(name), -1) << name;
        EXPECT_EQ(LastCodes().library, kAlreadyExists) << name;
    }
}

TEST_F(Containers, BaseEntryExists) {
    ZAFOLDAPErrReset();
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&Server().Host()), -1);
    EXPECT_EQ(LastCodes().library, kAlreadyExists);
}

// --- Automount maps ---------------------------------------------------------------------------

class AutomountMaps : public SharedServerTest {
  protected:
    ~AutomountMaps() override {
        for (const rig::LdifEntry &entry : Maps())
            Server().Client(Server().Admin(), "ldapdelete", {"-r", entry.dn});
    }
    static std::vector<rig::LdifEntry> Maps() {
        return Search(&Server().Host(),
                      {.filter = "(|(objectClass=automount)(objectClass=automountMap))",
                       .attributes = {"*", "entryCSN"}})
            .entries;
    }
    static std::string Value(const std::string &rdn) {
        char value[1024] = "";
        ZAFOLDAPSearchGetValueByDN(&Server().Host(),
                                   (rdn + "," + Server().Settings().suffix).c_str(), nullptr,
                                   "automountInformation", value, sizeof value);
        return value;
    }
    static std::vector<std::string> DNs(const std::vector<rig::LdifEntry> &entries) {
        std::vector<std::string> dns;
        for (const rig::LdifEntry &entry : entries)
            dns.push_back(entry.dn);
        return dns;
    }

    const Exports exports_;  // none: folders are tested elsewhere
};

constexpr const char *kHomeKey = "automountKey=/home,automountMapName=auto_master";
constexpr const char *kEveryKey = "automountKey=*,automountMapName=auto_home";

TEST_F(AutomountMaps, PublishTheHomesOfAllUsers) {
    const std::string suffix = "," + Server().Settings().suffix;
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("storage", "/volume 1/homes & more/$x/"), 0);
    EXPECT_THAT(DNs(Maps()),
                UnorderedElementsAre("automountMapName=auto_master" + suffix, kHomeKey + suffix,
                                     "automountMapName=auto_home" + suffix, kEveryKey + suffix));
    EXPECT_EQ(Value(kHomeKey), "auto_home");
    EXPECT_EQ(Value(kEveryKey), "-fstype=nfs storage:/volume\\ 1/homes\\ \\&\\ more/\\$x/&");
}

TEST_F(AutomountMaps, OfAnotherHostChangeOneEntryOnly) {
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("storage", "/homes"), 0);
    const std::vector<rig::LdifEntry> before = Maps();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("other", "/homes"), 0);
    const std::vector<rig::LdifEntry> after = Maps();
    ASSERT_THAT(after, SizeIs(4));
    for (size_t i = 0; i < after.size(); ++i)
        EXPECT_EQ(after[i] == before[i], !after[i].dn.starts_with("automountKey=*")) << after[i];
    EXPECT_EQ(Value(kEveryKey), "-fstype=nfs other:/homes/&");
}

}  // namespace
}  // namespace zafo::test
