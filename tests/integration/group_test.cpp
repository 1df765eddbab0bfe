// SPDX-License-Identifier: Apache-2.0
//
// Groups from creation to deletion, on every kind of server, and both kinds of account as seen by a
// real directory client.
#include <ctime>

#include "platform/error.h"
#include "tests/integration/accounts.h"
#include "tests/rig/nslcd.h"

namespace zafo::test::group_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

constexpr const char *kTeamDN = "cn=team,cn=groups,dc=example,dc=com";

class Groups : public AccountTest, public testing::WithParamInterface<rig::Variant> {
  protected:
    Groups() : AccountTest(GetParam()) {}

    // Creates a group of two with a description; Changes() starts from there.
    void CreateTeam() {
        ASSERT_EQ(CreateGroup("team", 6001, {"bob", "alice"}, "Unser Büro"), 0);
        Changes();
    }

    int EditGroup(const std::string &dn, const char *name, const char *description = nullptr,
                  const unsigned *gid = nullptr) {
        return ZAFOLDAPBrowserGroupEdit(host_, dn.c_str(), name, description, gid);
    }

    static Texts MembersOf(const Group &group) {
        Texts members;
        for (char **psz = group->pszMembers; psz != nullptr && *psz != nullptr; ++psz)
            members.emplace_back(*psz);
        return members;
    }
};

INSTANTIATE_TEST_SUITE_P(, Groups, testing::ValuesIn(rig::kVariants),
                         [](const auto &variant) { return variant.param.name; });

TEST_P(Groups, AreStoredWithWhatTheServerKnows) {
    ASSERT_EQ(CreateGroup("team", 6001, {"bob", "alice"}, "Unser Büro"), 0);
    EXPECT_THAT(Changes(), ElementsAre(std::string("+ ") + kTeamDN));
    Texts expected = {"objectClass: top", "objectClass: posixGroup", "cn: team",
                      "gidNumber: 6001",  "description: Unser Büro", "memberUid: bob",
                      "memberUid: alice"};
    if (Knows(ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT))
        expected.push_back("objectClass: extensibleObject");
    if (Knows(ZAFOLDAP_CLASS_APPLE_GROUP)) expected.push_back("objectClass: apple-group");
    Lines entry = Seen(kTeamDN);
    if (Knows(ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING)) {
        const auto sid = entry.lower_bound("sambaSID: S-1-5-21-1111111111-2222222222-3333333333-");
        ASSERT_NE(sid, entry.end());
        entry.erase(sid);
        for (const char *line : {"objectClass: sambaGroupMapping", "objectClass: sambaIdmapEntry",
                                 "displayName: team", "sambaGroupType: 2"}) {
            expected.push_back(line);
        }
    }
    EXPECT_THAT(entry, UnorderedElementsAreArray(expected));
}

TEST_P(Groups, AreReadBackAsTheyWereCreated) {
    CreateTeam();
    std::string description;
    const Group group = GetGroup(kTeamDN, &description);
    ASSERT_NE(group, nullptr);
    EXPECT_STREQ(group->szName, "team");
    EXPECT_EQ(group->nGid, 6001U);
    EXPECT_EQ(group->nType, ZAFO_ACCOUNT_DIRECTORY);
    EXPECT_THAT(MembersOf(group), ElementsAre("bob", "alice"));
    EXPECT_EQ(description, "Unser Büro");
}

TEST_P(Groups, AreChangedInEachFieldAloneAndInAllTogether) {
    CreateTeam();
    const unsigned other = 6009;
    const unsigned first = 6001;
    const struct {
        const char *what;
        const char *name;
        const char *description;
        const unsigned *gid;
        Texts changes;  // each after the group's DN
    } edits[] = {
        {"gid", nullptr, nullptr, &other, {"- gidNumber: 6001", "+ gidNumber: 6009"}},
        {"description",
         nullptr,
         "Наш 50%%",
         nullptr,
         {"- description: Unser Büro", "+ description: Наш 50%%"}},
        {"the same", nullptr, "Наш 50%%", &other, {}},
        {"letter case", "TEAM", nullptr, nullptr, {}},
        {"no description", nullptr, "", nullptr, {"- description: Наш 50%%"}},
        {"no description, again", nullptr, "", nullptr, {}},
        {"both",
         nullptr,
         "again",
         &first,
         {"- gidNumber: 6009", "+ gidNumber: 6001", "+ description: again"}},
    };
    for (const auto &edit : edits) {
        SCOPED_TRACE(edit.what);
        ASSERT_EQ(EditGroup(kTeamDN, edit.name, edit.description, edit.gid), 0);
        Texts changes = edit.changes;
        for (std::string &change : changes)
            change = std::string(kTeamDN) + " " + change;
        EXPECT_THAT(Changes(), UnorderedElementsAreArray(changes));
    }
}

TEST_P(Groups, KeepEverythingElseWhenTheyAreRenamedAndChanged) {
    CreateTeam();
    Lines expected = Seen(kTeamDN);
    const unsigned gid = 6002;
    const std::string crew = "cn=crew,cn=groups,dc=example,dc=com";
    ASSERT_EQ(EditGroup(kTeamDN, "crew", "", &gid), 0);
    EXPECT_THAT(Changes(), ElementsAre(std::string("- ") + kTeamDN, "+ " + crew));
    for (const char *line : {"cn: team", "gidNumber: 6001", "description: Unser Büro"})
        expected.erase(line);
    expected.insert({"cn: crew", "gidNumber: 6002"});
    EXPECT_EQ(Seen(crew), expected);
}

TEST_P(Groups, AreRefusedATakenNameOrNumber) {
    CreateTeam();
    ASSERT_EQ(CreateGroup("crew", 6002), 0);
    Changes();
    const unsigned taken = 6002;
    const auto refused = [&](int result, int code) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), code);
        EXPECT_THAT(Changes(), IsEmpty());
        ZAFOLDAPErrReset();
    };
    refused(CreateGroup("Team", 6003), ZAFOLDAP_ERR_GROUPNAME_EXISTS);
    refused(CreateGroup("tribe", 6001), ZAFOLDAP_ERR_GID_EXISTS);
    refused(EditGroup(kTeamDN, "crew"), ZAFOLDAP_ERR_GROUPNAME_EXISTS);
    refused(EditGroup(kTeamDN, nullptr, nullptr, &taken), ZAFOLDAP_ERR_GID_EXISTS);
}

TEST_P(Groups, AreDeletedByNameUnlessItIsAmbiguous) {
    CreateTeam();
    directory_.Add(LdifEntry("cn=projects,dc=example,dc=com")
                       .Add("objectClass", "organizationalRole")
                       .Add("cn", "projects"));
    ASSERT_EQ(CreateGroup("crew", 6002, {}, nullptr, "cn=projects"), 0);
    directory_.Add(LdifEntry("cn=team,cn=projects,dc=example,dc=com")
                       .Add("objectClass", "posixGroup")
                       .Add("cn", "team")
                       .Add("gidNumber", "6003"));
    Changes();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host_, "team"), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(QLIBCErrGet(), 0);
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host_, "crew"), 0);
    EXPECT_THAT(Changes(), ElementsAre("- cn=crew,cn=projects,dc=example,dc=com"));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteGroup(host_, "crew"), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_NO_SUCH_GROUP);
}

// --- a real client ----------------------------------------------------------------

TEST_P(Groups, AndUsersAreWhatTheSystemSees) {
    if (const std::string missing = rig::NameService::Missing(); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    const bool has_member = Knows(ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT);
    const bool ages = Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT);
    ASSERT_EQ(Create(Alice()), 0);
    ASSERT_EQ(CreateGroup("team", 6001), 0);
    EXPECT_EQ(AddToGroup(kTeamDN, {"alice"}), has_member ? 0 : -1);
    const rig::NameService names(directory_);
    const std::string passwd =
        std::string(ages ? ":x" : ":*") + ":5001:6001:Zoë Öztürk:/volume1/homes/alice:/bin/bash";
    const std::string today = std::to_string(std::time(nullptr) / 86400);
    const std::string shadow = ":*:" + today + ":0:99999:7:0:20000:0";
    EXPECT_EQ(names.Get("passwd", "alice"), "alice" + passwd);
    EXPECT_EQ(names.Get("passwd", "5001"), "alice" + passwd);
    EXPECT_EQ(names.Get("shadow", "alice"), ages ? "alice" + shadow : "");
    EXPECT_EQ(names.Get("group", "team"), has_member ? "team:*:6001:alice" : "team:*:6001:");

    ASSERT_EQ(Edit("uid=alice,cn=users,dc=example,dc=com", {.name = "anna"}), 0);
    ASSERT_EQ(EditGroup(kTeamDN, "crew"), 0);
    EXPECT_EQ(names.Get("passwd", "alice"), "");
    EXPECT_EQ(names.Get("passwd", "anna"), "anna" + passwd);
    EXPECT_EQ(names.Get("shadow", "anna"), ages ? "anna" + shadow : "");
    EXPECT_EQ(names.Get("group", "team"), "");
    EXPECT_EQ(names.Get("group", "6001"), has_member ? "crew:*:6001:anna" : "crew:*:6001:");

    ASSERT_EQ(ZAFOLDAPBrowserDeleteUser(host_, "anna"), 0);
    EXPECT_EQ(names.Get("passwd", "anna"), "");
    EXPECT_EQ(names.Get("passwd", "5001"), "");
    EXPECT_EQ(names.Get("group", "crew"), "crew:*:6001:");
    ASSERT_EQ(ZAFOLDAPBrowserDeleteGroup(host_, "crew"), 0);
    EXPECT_EQ(names.Get("group", "crew"), "");
}

}  // namespace
}  // namespace zafo::test::group_test
