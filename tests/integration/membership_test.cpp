// SPDX-License-Identifier: Apache-2.0
//
// Memberships changed on a real server, small and large, and checked with the system's own client.
#include <set>

#include "platform/error.h"
#include "tests/integration/accounts.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kMembersOfALargeGroup = 10'000;
constexpr int kGroupsOfABusyUser = 2000;

std::string GroupDN(const std::string &cn) {
    return "cn=" + cn + "," + kGroupsDN;
}

// "uid=NAME,cn=users,BASE" for plain names.
Texts MemberDNs(Texts names) {
    for (std::string &name : names)
        name = "uid=" + name + "," + kUsersDN;
    return names;
}

Texts Names(const std::string &stem, int count) {
    Texts names;
    for (int i = 0; i < count; ++i)
        names.push_back(stem + std::to_string(i));
    return names;
}

// Two lists of a call; an absent one is NULL.
class Lists {
  public:
    Lists(const std::optional<Texts> &added, const std::optional<Texts> &removed)
        : added_(Fill(list_added_, added)), removed_(Fill(list_removed_, removed)) {}
    const QLIBSZLIST *Added() const { return added_; }
    const QLIBSZLIST *Removed() const { return removed_; }

  private:
    static QLIBSZLIST *Fill(StringList &list, const std::optional<Texts> &texts) {
        if (!texts) return nullptr;
        for (const std::string &text : *texts)
            QLIBCSzListPush(list.Slot(), text.c_str());
        return *list.Slot();
    }

    StringList list_added_, list_removed_;
    const QLIBSZLIST *added_, *removed_;
};

class Memberships : public AccountTest {
  protected:
    Memberships() : AccountTest(rig::kVariants[1]), login_(*AsRecord(host_)) {
        login_.szLoginSuffix = "example.com";
    }
    static const ZAFOLDAP_HOST *AsRecord(const ZAFOLDAP_HOST *host) { return host; }

    static LdifEntry GroupEntry(const std::string &cn, unsigned gid, const Texts &members = {}) {
        LdifEntry entry(GroupDN(cn));
        entry.Add("objectClass", "posixGroup").Add("objectClass", "extensibleObject");
        entry.Add("cn", cn).Add("gidNumber", std::to_string(gid));
        for (const std::string &name : members)
            entry.Add("memberUid", name);
        for (const std::string &dn : MemberDNs(members))
            entry.Add("member", dn);
        return entry;
    }
    void AddGroups(const std::vector<LdifEntry> &groups) {
        std::string ldif;
        for (const LdifEntry &group : groups)
            ldif += rig::LdifRecord(group);
        ASSERT_EQ(directory_.Client("ldapadd", {}, ldif).exit_code, 0);
    }

    int UserSide(const std::string &uid, const std::optional<Texts> &added,
                 const std::optional<Texts> &removed) {
        const Lists lists(added, removed);
        return ZAFOLDAPBrowserGroupEditByUserUID(&login_, uid.c_str(), lists.Added(),
                                                 lists.Removed());
    }
    int GroupSide(const std::string &cn, const std::optional<Texts> &added,
                  const std::optional<Texts> &removed) {
        const Lists lists(added, removed);
        return ZAFOLDAPBrowserUserEditByGroupDN(&login_, GroupDN(cn).c_str(), lists.Added(),
                                                lists.Removed());
    }

    // Expects exactly these members, in both attributes.
    void ExpectMembers(const std::string &cn, const Texts &names) {
        const auto found = directory_.Read(GroupDN(cn), "base", {"(cn=*)", "memberUid", "member"});
        ASSERT_THAT(found, SizeIs(1));
        EXPECT_EQ(Sorted(found[0].All("memberUid")), Sorted(names)) << cn;
        EXPECT_EQ(Sorted(found[0].All("member")), Sorted(MemberDNs(names))) << cn;
    }
    static std::multiset<std::string> Sorted(const Texts &texts) {
        return {texts.begin(), texts.end()};
    }

    // How many groups list a name, by name and by DN.
    std::pair<size_t, size_t> ListedIn(const std::string &name) {
        const std::string dn = MemberDNs({name})[0];
        return {directory_.Read(kGroupsDN, "one", {"(memberUid=" + name + ")", "1.1"}).size(),
                directory_.Read(kGroupsDN, "one", {"(member=" + dn + ")", "1.1"}).size()};
    }

    ZAFOLDAP_HOST login_;  // the connection with a login suffix; it borrows everything
};

TEST_F(Memberships, UserSideAddsAndRemovesWhatIsNotSoAlready) {
    AddGroups(
        {GroupEntry("a", 1, {"ann"}), GroupEntry("b", 2), GroupEntry("c", 3, {"ann", "bob"})});
    EXPECT_EQ(UserSide("ann", Texts{GroupDN("A"), GroupDN("b")}, Texts{GroupDN("c")}), 0);
    ExpectMembers("a", {"ann"});
    ExpectMembers("b", {"ann"});
    ExpectMembers("c", {"bob"});
    EXPECT_EQ(UserSide("ann", Texts{GroupDN("b")}, Texts{GroupDN("c")}), 0) << "done already";
    ExpectMembers("b", {"ann"});
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST_F(Memberships, UserIsFoundByDN) {
    ASSERT_EQ(Create(Alice()), 0);
    const std::string dn = std::string("uid=alice,") + kUsersDN;
    AddGroups({GroupEntry("a", 1)});
    const Lists lists(Texts{GroupDN("a")}, std::nullopt);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(&login_, dn.c_str(), lists.Added(), nullptr), 0);
    ExpectMembers("a", {"alice"});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(&login_, dn.c_str(), "alicia"), 0);
    ExpectMembers("a", {"alicia"});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(&login_, kGroupsDN, lists.Added(), nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_NO_SUCH_USER);
}

TEST_F(Memberships, GroupSideAddsAndRemoves) {
    AddGroups({GroupEntry("a", 1, {"ann", "bob"})});
    EXPECT_EQ(GroupSide("a", Texts{"cyd", "dan"}, Texts{"ann"}), 0);
    ExpectMembers("a", {"bob", "cyd", "dan"});
    EXPECT_EQ(GroupSide("a", Texts{"eve"}, std::nullopt), 0);
    EXPECT_EQ(GroupSide("a", std::nullopt, Texts{"bob", "cyd", "dan"}), 0);
    ExpectMembers("a", {"eve"});
}

TEST_F(Memberships, GroupSideIsAllOrNothing) {
    AddGroups({GroupEntry("a", 1, {"ann"})});
    EXPECT_EQ(GroupSide("a", Texts{"bob", "ann"}, std::nullopt), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 20) << "ann is there already";
    EXPECT_EQ(GroupSide("a", Texts{"bob"}, Texts{"cyd"}), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 16) << "cyd is not there";
    EXPECT_EQ(GroupSide("none", Texts{"bob"}, std::nullopt), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    ExpectMembers("a", {"ann"});
}

TEST_F(Memberships, EmptyRemovedListTakesOutEveryMember) {
    AddGroups({GroupEntry("a", 1, {"ann", "bob"})});
    EXPECT_EQ(GroupSide("a", std::nullopt, Texts{}), 0);
    ExpectMembers("a", {});
}

TEST_F(Memberships, GroupThatCannotHoldDNsIsLeftAsItWas) {
    directory_.Add(LdifEntry(GroupDN("plain"))
                       .Add("objectClass", "posixGroup")
                       .Add("cn", "plain")
                       .Add("gidNumber", "1")
                       .Add("memberUid", "ann"));
    Changes();
    EXPECT_EQ(GroupSide("plain", Texts{"bob"}, std::nullopt), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 65);
    EXPECT_EQ(UserSide("ann", std::nullopt, Texts{GroupDN("plain")}), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 16);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(Memberships, GroupsBeforeTheOneThatIsRefusedStayChanged) {
    AddGroups({GroupEntry("a", 1), GroupEntry("c", 3)});
    EXPECT_EQ(UserSide("ann", Texts{GroupDN("a"), GroupDN("none"), GroupDN("c")}, std::nullopt),
              -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    ExpectMembers("a", {"ann"});
    ExpectMembers("c", {});
}

TEST_F(Memberships, OddNamesGoInAndOutAgain) {
    const Texts names = {"a,b", "a+b", " a ", "#a", "100%n%%", "a\"<>;\\", ":a", "<a", "-", "a=b"};
    AddGroups({GroupEntry("a", 1)});
    EXPECT_EQ(GroupSide("a", names, std::nullopt), 0);
    StringList listed;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(&login_, GroupDN("a").c_str(), listed.Slot()),
              static_cast<int>(names.size()));
    EXPECT_EQ(Sorted(listed.Content()), Sorted(names));
    EXPECT_EQ(GroupSide("a", std::nullopt, names), 0);
    ExpectMembers("a", {});
}

TEST_F(Memberships, RenameAndRemovalReachEveryGroup) {
    AddGroups({GroupEntry("a", 1, {"ann"}), GroupEntry("b", 2, {"ann", "bob"}),
               GroupEntry("c", 3, {"bob", "anna"})});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "ann", "zoe"), 0);
    ExpectMembers("a", {"zoe"});
    ExpectMembers("b", {"bob", "zoe"});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "bob", nullptr), 0);
    ExpectMembers("b", {"zoe"});
    ExpectMembers("c", {"anna"});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "nobody", "x"), 0);
}

TEST_F(Memberships, FollowAChangeOfThePrimaryGroup) {
    AddGroups({GroupEntry("old", 1, {"ann"}), GroupEntry("new", 2), GroupEntry("twin", 2)});
    const unsigned int old_gid = 1, new_gid = 2, no_gid = 77;
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&login_, "ann", &old_gid, &new_gid), 0);
    ExpectMembers("old", {});
    ExpectMembers("new", {"ann"});
    ExpectMembers("twin", {"ann"});
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&login_, "ann", &new_gid, &no_gid), 0);
    ExpectMembers("new", {});
    ExpectMembers("twin", {});
}

TEST_F(Memberships, GroupOfTenThousandIsChangedRightly) {
    const Texts members = Names("member", kMembersOfALargeGroup);
    AddGroups({GroupEntry("large", 1, members), GroupEntry("other", 2, {"member7"})});
    EXPECT_EQ(UserSide("ann", Texts{GroupDN("large")}, std::nullopt), 0);
    EXPECT_EQ(
        GroupSide("large", Texts{"bob"}, Texts{members.begin() + 1000, members.begin() + 1010}), 0);
    EXPECT_EQ(UserSide("member0", std::nullopt, Texts{GroupDN("large")}), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "member7", "seven"), 0);

    Texts expected(members.begin() + 1, members.end());
    expected.erase(expected.begin() + 999, expected.begin() + 1009);
    expected.at(6) = "seven";
    expected.insert(expected.end(), {"ann", "bob"});
    ExpectMembers("large", expected);
    ExpectMembers("other", {"seven"});
    StringList listed;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(&login_, GroupDN("large").c_str(), listed.Slot()),
              kMembersOfALargeGroup + 1 - 10);
}

TEST_F(Memberships, UserOfTwoThousandGroupsIsChangedRightly) {
    const auto all = static_cast<size_t>(kGroupsOfABusyUser);
    std::vector<LdifEntry> groups;
    Texts dns;
    for (const std::string &cn : Names("team", kGroupsOfABusyUser)) {
        groups.push_back(GroupEntry(cn, 1000));
        dns.push_back(groups.back().dn);
    }
    AddGroups(groups);
    EXPECT_EQ(UserSide("busy", dns, std::nullopt), 0);
    EXPECT_EQ(ListedIn("busy"), std::pair(all, all));
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "busy", "idle"), 0);
    EXPECT_EQ(ListedIn("busy"), std::pair(size_t{0}, size_t{0}));
    EXPECT_EQ(ListedIn("idle"), std::pair(all, all));
    StringList listed;
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(&login_, "idle", listed.Slot(), nullptr),
              kGroupsOfABusyUser);
    EXPECT_EQ(listed.Content(), dns);
    EXPECT_EQ(UserSide("idle", std::nullopt, Texts{dns.begin(), dns.begin() + 3}), 0);
    EXPECT_EQ(ListedIn("idle"), std::pair(all - 3, all - 3));
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&login_, "idle", nullptr), 0);
    EXPECT_EQ(ListedIn("idle"), std::pair(size_t{0}, size_t{0}));
}

TEST(ConnectionCheck, ServerWithoutTheNeededClassesIsReported) {
    for (const rig::Variant &variant : rig::kVariants) {
        SCOPED_TRACE(variant.name);
        constexpr unsigned kNeeded = 0x01E0;
        const ZAFOLDAP_HOST *host = ConnectionTo(variant);
        ZAFOLDAP_HOST record = *host;
        ZAFOLDAPErrReset();
        EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(&record, nullptr), 0);
        EXPECT_EQ(ZAFOLDAPErrGet(), (variant.schema & kNeeded) == kNeeded ? 0 : -65537);
        EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(&record), 0) << "which judges no classes";
    }
}

}  // namespace
}  // namespace zafo::test
