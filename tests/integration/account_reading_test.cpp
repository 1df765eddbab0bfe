// SPDX-License-Identifier: Apache-2.0
//
// Accounts of the example directory as the library sees them, compared with the system's own
// client.
#include <algorithm>
#include <memory>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

constexpr const char *kUsers = "objectClass=posixAccount";
constexpr const char *kGroups = "objectClass=posixGroup";
constexpr const char *kPlace = "ou=places,dc=example,dc=com";
constexpr unsigned kServersLimit = 500;

class AccountReading : public testing::Test {
  protected:
    AccountReading() {
        ZAFOLDAPHostSet(host_.Record(), LDAP_HOST_ATTR_LOGIN_SUFFIX, "example.com");
        ZAFOLDAPErrReset();
        QLIBCErrSet(QLIB_ERR_NONE);
    }

    // What the system's client finds below the base.
    static std::vector<LdifEntry> Found(const Texts &filter_and_attributes) {
        return ExampleDirectory::Get().Read(rig::kExampleBase, "sub", filter_and_attributes);
    }

    void ExpectList(int (*list)(const ZAFOLDAP_HOST *, QLIBSZLIST **, QLIBSZLIST **),
                    const char *filter, const char *name) {
        StringList dns, names;
        Texts expected_dns, expected_names;
        for (const LdifEntry &entry : Found({filter, name})) {
            expected_dns.push_back(entry.dn);
            expected_names.push_back(entry.All(name).at(0));
        }
        EXPECT_EQ(list(host_, dns.Slot(), names.Slot()), static_cast<int>(expected_dns.size()));
        EXPECT_EQ(dns.Content(), expected_dns);
        EXPECT_EQ(names.Content(), expected_names);
    }

    Connection host_;
};

TEST_F(AccountReading, ListsUsersAndGroupsAsTheClientDoes) {
    ExpectList(ZAFOLDAPBrowserUserEnumAll, kUsers, "uid");
    ExpectList(ZAFOLDAPBrowserGroupEnumAll, kGroups, "cn");
}

TEST_F(AccountReading, CountsUsersAndGroupsAsTheClientDoes) {
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "user"),
              static_cast<int>(Found({kUsers, "1.1"}).size()));
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "group"),
              static_cast<int>(Found({kGroups, "1.1"}).size()));
}

TEST_F(AccountReading, ReadsEveryFieldOfAUser) {
    for (const unsigned index : {0u, 1u, 7u, 700u}) {
        const std::string login = rig::ExampleLogin(index);
        SCOPED_TRACE(login);
        const LdifEntry entry = Found({"(uid=" + login + ")"}).at(0);
        ZAFOUSER *made = nullptr;
        EXPECT_EQ(ZAFOLDAPBrowserUserGet(host_, entry.dn.c_str(), &made, nullptr), 1);
        ASSERT_NE(made, nullptr);
        const std::unique_ptr<ZAFOUSER, void (*)(ZAFOUSER *)> user(made, ZAFOUserFree);
        EXPECT_EQ(user->szName, entry.All("uid").at(0));
        EXPECT_EQ(user->szPasswd, entry.All("userPassword").at(0));
        EXPECT_EQ(std::to_string(user->pw_uid), entry.All("uidNumber").at(0));
        EXPECT_EQ(std::to_string(user->pw_gid), entry.All("gidNumber").at(0));
        EXPECT_EQ(user->szFullname, entry.All("gecos").at(0));
        EXPECT_EQ(user->pw_dir, entry.All("homeDirectory").at(0));
        EXPECT_EQ(user->pw_shell, entry.All("loginShell").at(0));
        EXPECT_EQ(user->szMail, entry.All("mail").at(0));
        EXPECT_EQ(user->nType, ZAFO_ACCOUNT_DIRECTORY);
    }
}

TEST_F(AccountReading, ReadsAGroupWithAllItsMembers) {
    const LdifEntry entry = ExampleDirectory::Get().Read(rig::kLargestGroup, "base").at(0);
    ZAFOGROUP *made = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host_, rig::kLargestGroup, &made, nullptr, 0), 1);
    ASSERT_NE(made, nullptr);
    const std::unique_ptr<ZAFOGROUP, void (*)(ZAFOGROUP *)> group(made, ZAFOGroupFree);
    EXPECT_EQ(group->szName, entry.All("cn").at(0));
    EXPECT_EQ(std::to_string(group->nGid), entry.All("gidNumber").at(0));
    Texts members;
    for (char **name = group->pszMembers; *name != nullptr; ++name)
        members.emplace_back(*name);
    EXPECT_EQ(members, entry.All("memberUid"));
    EXPECT_THAT(members, SizeIs(rig::kLargestGroupMembers));
}

TEST_F(AccountReading, OtherEntriesAreNotFoundAsAccounts) {
    ZAFOUSER *user = nullptr;
    ZAFOGROUP *group = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host_, rig::kLargestGroup, &user, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host_, rig::kReaderDN, &group, nullptr, 0), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host_, "uid=nobody,dc=example,dc=com", &user, nullptr), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(group, nullptr);
}

TEST_F(AccountReading, ContainerGivesTheFirstUserBelowIt) {
    const std::string first = Found({kUsers, "uid"}).at(0).All("uid").at(0);
    ZAFOUSER *user = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host_, rig::kExampleBase, &user, nullptr), 1);
    EXPECT_EQ(user->szName, first);
    ZAFOUserFree(user);
}

TEST_F(AccountReading, NamesAndNumbersLeadToDNsAndBack) {
    const LdifEntry user = Found({"(uid=" + rig::ExampleLogin(3) + ")"}).at(0);
    char text[1024] = "";
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host_, rig::ExampleLogin(3).c_str(), text, sizeof text),
              1);
    EXPECT_EQ(text, user.dn);
    EXPECT_EQ(ZAFOLDAPPosixGetUserUID(host_, user.dn.c_str(), text, sizeof text), 1);
    EXPECT_EQ(text, rig::ExampleLogin(3));
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByGroupCN(host_, "everyone", text, sizeof text), 1);
    EXPECT_STREQ(text, rig::kLargestGroup);
    EXPECT_EQ(ZAFOLDAPPosixGetGroupCN(host_, rig::kLargestGroup, text, sizeof text), 1);
    EXPECT_STREQ(text, "everyone");

    StringList dns;
    const auto uid = static_cast<unsigned>(std::stoul(user.All("uidNumber").at(0)));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByUIDNumber(host_, uid, dns.Slot()), 1);
    EXPECT_THAT(dns.Content(), ElementsAre(user.dn));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByUIDNumber(host_, 4294967295u, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByGIDNumber(host_, 39999, nullptr), 1);
}

TEST_F(AccountReading, MembershipsAreThoseOfTheEntries) {
    const std::string login = rig::ExampleLogin(1);
    Texts dns_expected;
    for (const LdifEntry &group : Found({"(memberUid=" + login + ")", "cn"}))
        dns_expected.push_back(group.dn);
    ASSERT_THAT(dns_expected, testing::Not(IsEmpty()));
    StringList dns, again;
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host_, login.c_str(), dns.Slot(), nullptr),
              static_cast<int>(dns_expected.size()));
    EXPECT_EQ(dns.Content(), dns_expected);
    const std::string dn = "uid=" + login + ",cn=users,dc=example,dc=com";
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(host_, dn.c_str(), again.Slot(), nullptr),
              static_cast<int>(dns_expected.size()));
    EXPECT_EQ(again.Content(), dns_expected);
}

TEST_F(AccountReading, UsersNotInAGroupAreAllOthers) {
    const LdifEntry group =
        Found({"(&(objectClass=posixGroup)(memberUid=*)(!(cn=everyone)))"}).at(0);
    const std::string gid = group.All("gidNumber").at(0);
    const Texts members = group.All("memberUid");
    const std::set<std::string> listed(members.begin(), members.end());
    Texts others, primary;
    for (const LdifEntry &user : Found({kUsers, "uid", "gidNumber"})) {
        const std::string uid = user.All("uid").at(0);
        const bool is_primary = user.All("gidNumber").at(0) == gid;
        if (is_primary) primary.push_back(uid);
        if (!is_primary && !listed.contains(uid)) others.push_back(uid);
    }
    ASSERT_THAT(members, testing::Not(IsEmpty()));
    ASSERT_THAT(primary, testing::Not(IsEmpty()));

    StringList list;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host_, group.dn.c_str(), list.Slot()),
              static_cast<int>(members.size()));
    EXPECT_EQ(list.Content(), members);
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByPrimaryGroup(host_, group.dn.c_str(), nullptr, list.Slot()),
              static_cast<int>(primary.size()));
    EXPECT_EQ(list.Content(), primary);
    const std::string cn = group.All("cn").at(0);
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByPrimaryGroup(host_, nullptr, cn.c_str(), list.Slot()),
              static_cast<int>(primary.size()));
    QLIBCSzListRemoveAll(*list.Slot());
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumNotInGroupDN(host_, group.dn.c_str(), list.Slot()), 0);
    EXPECT_EQ(list.Content(), others);
}

// The server's size limit ends what a reader sees, with result code 4.
TEST_F(AccountReading, ListOfALimitedReaderIsCutAndSaysSo) {
    host_.BindAs(rig::kReaderDN, rig::kExampleUserPassword);
    StringList names;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(host_, nullptr, names.Slot()), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);
    EXPECT_THAT(names.Content(), SizeIs(kServersLimit)) << "what came stays";
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "user"), -1);
}

TEST_F(AccountReading, CheckPassesForALimitedReader) {
    ZAFOLDAPErrSet(-77);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host_), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    host_.BindAs(rig::kReaderDN, rig::kExampleUserPassword);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host_), 0);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host_), 0);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host_.Record(), nullptr), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST_F(AccountReading, CheckFailsForAWrongPassword) {
    host_.BindAs(ExampleDirectory::Get().BindDN(), "not the password");
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host_), -1);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(host_), -1);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(host_.Record(), nullptr), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

// Accounts as other programs create them, in their own container.
class ForeignAccounts : public AccountReading {
  protected:
    ForeignAccounts() {
        ExampleDirectory::Get().Add(
            LdifEntry(kPlace).Add("objectClass", "organizationalUnit").Add("ou", "places"));
        ZAFOLDAPHostSet(host_.Record(), LDAP_HOST_ATTR_BASEDN, kPlace);
    }
    ~ForeignAccounts() override { ExampleDirectory::Get().Client("ldapdelete", {"-r", kPlace}); }

    // Returns the new user's DN; `uid_attr` may have an option.
    static std::string AddUser(const std::string &cn, const Texts &uids,
                               const std::string &uid_attr = "uid") {
        LdifEntry entry("cn=" + cn + "," + kPlace);
        entry.Add("objectClass", "account").Add("objectClass", "posixAccount").Add("cn", cn);
        for (const std::string &uid : uids)
            entry.Add(uid_attr, uid);
        entry.Add("uidNumber", "1").Add("gidNumber", "1").Add("homeDirectory", "/");
        ExampleDirectory::Get().Add(entry);
        return entry.dn;
    }
};

TEST_F(ForeignAccounts, NameOfTwoUsersIsAmbiguous) {
    AddUser("one", {"ann"});
    AddUser("two", {"ann"});
    char dn[1024] = "";
    EXPECT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host_, "ann", dn, sizeof dn), 2);
    const auto found = ExampleDirectory::Get().Read(kPlace, "sub", {"(uid=ann)"});
    EXPECT_EQ(dn, found.at(1).dn) << "the last in the server's order";
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByUIDNumber(host_, 1, nullptr), 2);
}

TEST_F(ForeignAccounts, UserWithTwoNamesHasNoUniqueName) {
    const std::string dn = AddUser("one", {"ann", "anna"});
    char name[64] = "";
    EXPECT_EQ(ZAFOLDAPPosixGetUserUID(host_, dn.c_str(), name, sizeof name), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    StringList names;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(host_, nullptr, names.Slot()), 1);
    EXPECT_THAT(names.Content(), ElementsAre("ann"));
}

// A name with a language option only is not a login name.
TEST_F(ForeignAccounts, UserWithoutAPlainNameIsCountedAndNotListed) {
    const std::string dn = AddUser("one", {"anna"}, "uid;lang-de");
    AddUser("two", {"bob"});
    StringList names;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(host_, nullptr, names.Slot()), 1);
    EXPECT_THAT(names.Content(), ElementsAre("bob"));
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "user"), 2);
    char name[64] = "before";
    EXPECT_EQ(ZAFOLDAPPosixGetUserUID(host_, dn.c_str(), name, sizeof name), 0);
    EXPECT_STREQ(name, "");
    ZAFOUSER *user = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host_, dn.c_str(), &user, nullptr), -1);
    EXPECT_EQ(user, nullptr);
}

TEST_F(ForeignAccounts, GroupWithoutAPlainNumberHasNoPrimaryUsers) {
    AddUser("one", {"ann"});
    const std::string dn = std::string("cn=staff,") + kPlace;
    ExampleDirectory::Get().Add(LdifEntry(dn)
                                    .Add("objectClass", "posixGroup")
                                    .Add("cn", "staff")
                                    .Add("gidNumber;lang-de", "1"));
    StringList names;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByPrimaryGroup(host_, dn.c_str(), nullptr, names.Slot()), 0);
    EXPECT_THAT(names.Content(), IsEmpty());
    ZAFOGROUP *group = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host_, dn.c_str(), &group, nullptr, 0), 1);
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->nGid, GID_ERR);
    EXPECT_EQ(group->pszMembers[0], nullptr);
    ZAFOGroupFree(group);
}

TEST_F(ForeignAccounts, EmptyContainerHasNoUsers) {
    StringList dns;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(host_, dns.Slot(), nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "user"), 0);
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host_, "group"), 0);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(host_), 0);
}

}  // namespace
}  // namespace zafo::test
