// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::membership_enum_test {

class GroupsOfUser : public AccountsTest {
  protected:
    static std::string Two() {
        return Entry("cn=z,cn=groups,dc=x", {{"cn", "z"}, {"cn", "second"}}) +
               Entry("cn=a,cn=groups,dc=x", {{"CN", "a"}});
    }
    static Strings Question(const std::string &name = "ann") {
        return Below(And(kGroups, "memberUid=" + name), {"dn", "cn"});
    }
};
ZAFO_FOREIGN_SUITE(GroupsOfUser);

TEST_P(GroupsOfUser, AreAppendedInTheServersOrder) {
    List dns{"before"};
    List names{"earlier"};
    Finds(Two());
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, &names), 2);
    EXPECT_EQ(dns.Items(), (Strings{"before", "cn=z,cn=groups,dc=x", "cn=a,cn=groups,dc=x"}));
    EXPECT_EQ(names.Items(), (Strings{"earlier", "z", "a"}));
    EXPECT_EQ(Searches(), std::vector<Strings>{Question()});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(GroupsOfUser, AreAppendedAgainByASecondCall) {
    List dns;
    List names;
    Finds(Two());
    Finds(Two());
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, &names), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, &names), 2);
    EXPECT_EQ(names.Items(), (Strings{"z", "a", "z", "a"}));
    EXPECT_EQ(dns.Items().size(), 4u);
}

TEST_P(GroupsOfUser, FillOneListOrNone) {
    List dns;
    List names;
    Finds(Two());
    Finds(Two());
    Finds(Two());
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, nullptr), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", nullptr, &names), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", nullptr, nullptr), 2);
    EXPECT_EQ(dns.Items(), (Strings{"cn=z,cn=groups,dc=x", "cn=a,cn=groups,dc=x"}));
    EXPECT_EQ(names.Items(), (Strings{"z", "a"}));
}

TEST_P(GroupsOfUser, WithoutDnOrNameAreSkipped) {
    List dns;
    Finds("cn: ghost\n\n" + Entry("cn=b,dc=x", {{"sn", "b"}}) + Entry("cn=a,dc=x", {{"cn", "a"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, nullptr), 1);
    EXPECT_EQ(dns.Items(), Strings{"cn=a,dc=x"});
}

TEST_P(GroupsOfUser, OfAUserInNoneLeaveTheLists) {
    List dns{"before"};
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, nullptr), 0);
    EXPECT_EQ(dns.Items(), Strings{"before"});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupsOfUser, FailWithTheToolAndKeepWhatCame) {
    List dns;
    Finds(Two()).Exits(4);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, nullptr), -1);
    EXPECT_EQ(LibraryError(), 4);
    EXPECT_EQ(Log(), Strings{kGetNextFailed});
    EXPECT_EQ(dns.Items().size(), 2u);
}

TEST_P(GroupsOfUser, FailWhenTheToolCannotBeStarted) {
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", nullptr, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(GroupsOfUser, NameTheStringThatCouldNotBeListed) {
    platform().On("ldapsearch").Prints(Entry("cn=b,dc=x", {{"cn", "b"}})).Always();
    Strings seen;
    FailEach(
        "QLIBCSzListPush",
        [&] {
            List dns;
            List names;
            return ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", &dns, &names);
        },
        [&](int result) {
            EXPECT_EQ(result, -1);
            for (const std::string &line : Log())
                seen.push_back(line);
        });
    for (const char *item : {"cn=b,dc=x", "b"}) {
        const std::string line = "QLIBCSzListPush failed. [" + std::string(item) + "] [0x0200]";
        EXPECT_EQ(std::count(seen.begin(), seen.end(), line), 1) << line;
    }
}

TEST_P(GroupsOfUser, CheckTheirArgumentsInOrder) {
    QLIBSZLIST *none = nullptr;
    struct {
        int (*list)(const ZAFOLDAP_HOST *, const char *, QLIBSZLIST **, QLIBSZLIST **);
        const char *name;
    } const rows[] = {{ZAFOLDAPBrowserGroupEnumByUserUID, "szUserUID"},
                      {ZAFOLDAPBrowserGroupEnumByUserDN, "szUserDN"}};
    for (const auto &row : rows) {
        ExpectHostChecked("szLoginSuffix", &Host::login_suffix, [&](ZAFOLDAP_HOST *record) {
            return row.list(record, nullptr, &none, &none);
        });
        ExpectArgumentFailureOn(row.name, [&] { return row.list(host, nullptr, &none, &none); });
        ExpectArgumentFailure("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList",
                              [&] { return row.list(host, "x", &none, &none); });
        ExpectArgumentFailure("NULL == ppGroupNameList || NULL != *ppGroupNameList",
                              [&] { return row.list(host, "x", nullptr, &none); });
    }
    ExpectArgumentFailure("((void *)0) != szUserDN", [&] {
        return ZAFOLDAPBrowserGroupEnumByUserDN(host, nullptr, &none, &none);
    });
}

TEST_P(GroupsOfUser, OfADnAreThoseOfItsName) {
    List dns;
    List names;
    Finds(Entry("cn=Ann,ou=b", {{"uid", "ann"}}));
    Finds(Two());
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(host, "cn=Ann,ou=b", &dns, &names), 2);
    EXPECT_EQ(Searches(), (std::vector<Strings>{At("cn=Ann,ou=b", kUsers, {"uid"}), Question()}));
    EXPECT_EQ(names.Items(), (Strings{"z", "a"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupsOfUser, OfADnWithoutAUserSaySo) {
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(host, kAnn.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x1D00);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupsOfUser, OfADnThatCannotBeReadFail) {
    SearchFails(32);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(host, kAnn.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed. [" + kAnn + "] "});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupsOfUser, OfADnWithSeveralNamesFail) {
    Finds(Entry(kAnn, {{"uid", "ann"}, {"uid", "anna"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserDN(host, kAnn.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed. [" + kAnn + "] "});
}

class PrimaryGroup : public AccountsTest {
  protected:
    int Users(const char *dn, const char *name, List &list) {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, dn, name, &list);
    }
    static Strings ByDn() { return At(kStaff, kGroups, {"gidNumber"}); }
    static Strings ByName() { return Below(And(kGroups, "cn=staff"), {"gidNumber"}); }
    static Strings Holders(const std::string &gid) {
        return Below(And(kUsers, "gidNumber=" + gid), {"dn", "uid"});
    }
    Tool &HasNumber() { return Finds(Entry(kStaff, {{"gidNumber", "0100"}})); }
    static std::string Two() {
        return Entry("uid=zoe,dc=x", {{"uid", "zoe"}}) + Entry("uid=ann,dc=x", {{"uid", "ann"}});
    }
};
ZAFO_FOREIGN_SUITE(PrimaryGroup);

TEST_P(PrimaryGroup, OfADnGivesItsUsersIntoAnEmptiedList) {
    List list{"before"};
    HasNumber();
    Finds(Two());
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), 2);
    EXPECT_EQ(Searches(), (std::vector<Strings>{ByDn(), Holders("0100")}));
    EXPECT_EQ(list.Items(), (Strings{"zoe", "ann"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(PrimaryGroup, OfANameIsLookedUpBelowTheBase) {
    List list;
    HasNumber();
    Finds(Two());
    EXPECT_EQ(Users(nullptr, "staff", list), 2);
    EXPECT_EQ(Searches(), (std::vector<Strings>{ByName(), Holders("0100")}));
}

TEST_P(PrimaryGroup, TheDnWinsOverTheName) {
    List list;
    HasNumber();
    FindsNothing();
    EXPECT_EQ(Users(kStaff.c_str(), "crew", list), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{ByDn(), Holders("0100")}));
}

TEST_P(PrimaryGroup, NeedsNoLoginSuffix) {
    List list;
    host.login_suffix.reset();
    HasNumber();
    Finds(Two());
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), 2);
}

TEST_P(PrimaryGroup, WithoutANumberHasNoUsers) {
    List list{"before"};
    Finds(Entry(kStaff, {}));
    FindsNothing();
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{ByDn(), Holders("")}));
    EXPECT_EQ(list.Items(), Strings{});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(PrimaryGroup, WithSeveralNumbersHasTheFirst) {
    List list;
    Finds(Entry(kStaff, {{"gidNumber", "7"}, {"gidNumber", "8"}}));
    FindsNothing();
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{ByDn(), Holders("7")}));
}

TEST_P(PrimaryGroup, CountsUsersWithoutANameToo) {
    List list;
    HasNumber();
    Finds(Entry("cn=a,dc=x", {}) + Entry("uid=ann,dc=x", {{"uid", "ann"}}));
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), 2);
    EXPECT_EQ(list.Items(), (Strings{"", "ann"}));
}

TEST_P(PrimaryGroup, ThatCannotBeReadIsNamed) {
    List list;
    SearchFails(32);
    SearchFails(32);
    EXPECT_EQ(Users(kStaff.c_str(), "staff", list), -1);
    EXPECT_EQ(TakeLog(), Strings{"get gidNumber for [" + kStaff + "] failed."});
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Users(nullptr, "staff", list), -1);
    EXPECT_EQ(TakeLog(), Strings{"get gidNumber for [staff] failed."});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(PrimaryGroup, WhoseUsersCannotBeListedFails) {
    List list;
    HasNumber();
    SearchFails(51);
    EXPECT_EQ(Users(kStaff.c_str(), nullptr, list), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Log(), Strings{"find users whose gidNumber = 0100 failed."});
}

TEST_P(PrimaryGroup, FailsWithEveryListThatCannotBeFilled) {
    List list;
    platform().On("ldapsearch", "gidNumber").Prints(Entry(kStaff, {{"gidNumber", "7"}})).Always();
    platform().On("ldapsearch").Prints(Two()).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return Users(kStaff.c_str(), nullptr, list); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(PrimaryGroup, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    QLIBSZLIST *none = nullptr;
    ExpectArgumentFailure("((void *)0) != pHost", [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(nowhere, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szGroupDN || ((void *)0) != szGroupCN", [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != ppUserUIDList", [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, "c=o", nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != *ppUserUIDList", [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, nullptr, "staff", &none);
    });
}

class MembersOfGroup : public AccountsTest {};
ZAFO_FOREIGN_SUITE(MembersOfGroup);

TEST_P(MembersOfGroup, AreListedInTheServersOrderIntoAnEmptiedList) {
    List list{"before"};
    Finds(Entry(kStaff, {{"memberUid", "zoe"}, {"MemberUID", "ann"}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list), 2);
    EXPECT_EQ(Searches(), std::vector<Strings>{At(kStaff, kGroups, {"dn", "memberUid"})});
    EXPECT_EQ(list.Items(), (Strings{"zoe", "ann"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
    ExpectAllClosed();
}

TEST_P(MembersOfGroup, NeedNoLoginSuffix) {
    List list;
    host.login_suffix.reset();
    Finds(Entry(kStaff, {{"memberUid", "zoe"}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list), 1);
}

TEST_P(MembersOfGroup, AreNoneInAGroupWithout) {
    List list{"before"};
    Finds(Entry(kStaff, {}));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list), 0);
    EXPECT_EQ(list.Items(), Strings{});
}

TEST_P(MembersOfGroup, AreThoseOfTheFirstEntry) {
    List list;
    Finds(Entry("cn=a,dc=x", {{"memberUid", "ann"}}) + Entry("cn=b,dc=x", {{"memberUid", "bob"}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, "dc=x", &list), 1);
    EXPECT_EQ(list.Items(), Strings{"ann"});
}

TEST_P(MembersOfGroup, OfADnThatIsNotAGroupFail) {
    List list;
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kAnn.c_str(), &list), -1);
    EXPECT_EQ(PlatformError(), 0x1800);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(MembersOfGroup, FailWithTheTool) {
    List list;
    SearchFails(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Log(), Strings{kGetNextFailed});
}

TEST_P(MembersOfGroup, FailWhenTheToolCannotBeStarted) {
    List list;
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(MembersOfGroup, ThatCannotBeListedAreLogged) {
    List list;
    platform()
        .On("ldapsearch")
        .Prints(Entry(kStaff, {{"memberUid", "zoe"}, {"memberUid", "ann"}}))
        .Always();
    int said = 0;
    FailEach(
        "QLIBCSzListPush",
        [&] { return ZAFOLDAPBrowserUserEnumByGroupDN(host, kStaff.c_str(), &list); },
        [&](int result) {
            EXPECT_EQ(result, -1);
            if (Log() == Strings{"ZAFOLDAPResultGetAll memberUid failed. [0x0200]"}) ++said;
        });
    EXPECT_EQ(said, 2);
}

TEST_P(MembersOfGroup, CheckTheirArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    QLIBSZLIST *none = nullptr;
    for (auto *enumerate :
         {ZAFOLDAPBrowserUserEnumByGroupDN, ZAFOLDAPBrowserUserEnumNotInGroupDN}) {
        ExpectArgumentFailure("((void *)0) != pHost",
                              [&] { return enumerate(nullptr, nullptr, nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri",
                              [&] { return enumerate(nowhere, nullptr, nullptr); });
        ExpectArgumentFailureOn("szGroupDN", [&] { return enumerate(host, nullptr, nullptr); });
        ExpectArgumentFailure("((void *)0) != ppUserUIDList",
                              [&] { return enumerate(host, "c=o", nullptr); });
        ExpectArgumentFailure("NULL != *ppUserUIDList",
                              [&] { return enumerate(host, "c=o", &none); });
    }
}

class NotInGroup : public AccountsTest {
  protected:
    int Enumerate(List &list) {
        return ZAFOLDAPBrowserUserEnumNotInGroupDN(host, kStaff.c_str(), &list);
    }
    static std::string Users(const Strings &names) {
        std::string text;
        for (const std::string &name : names)
            text += Entry("uid=" + name + ",dc=x", {{"uid", name}});
        return text;
    }
    static std::string Members(const Strings &names) {
        std::vector<std::pair<std::string, std::string>> attributes;
        for (const std::string &name : names)
            attributes.emplace_back("memberUid", name);
        return Entry(kStaff, attributes);
    }
    // Scripts all users, the group's members, and the users whose primary group it is.
    void Directory(const Strings &users, const Strings &members, const Strings &primary) {
        Finds(Users(users));
        Finds(Members(members));
        Finds(Entry(kStaff, {{"gidNumber", "100"}}));
        Finds(Users(primary));
    }
    static std::string Failed() {
        return "ZAFOLDAPBrowserUserEnumByGroupDN failed. [" + kStaff + "] ";
    }
};
ZAFO_FOREIGN_SUITE(NotInGroup);

TEST_P(NotInGroup, AsksForUsersMembersAndPrimaryMembers) {
    List list;
    Directory({"zoe", "ann", "bob", "eve"}, {"ann"}, {"eve"});
    EXPECT_EQ(Enumerate(list), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{Below(kUsers, {"dn", "uid"}),
                                    At(kStaff, kGroups, {"dn", "memberUid"}),
                                    At(kStaff, kGroups, {"gidNumber"}),
                                    Below(And(kUsers, "gidNumber=100"), {"dn", "uid"})}));
    EXPECT_EQ(list.Items(), (Strings{"zoe", "bob"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(NotInGroup, RemovesAUserListedTwiceOnlyOnce) {
    List list;
    Directory({"ann", "bob"}, {"ann"}, {"ann"});
    EXPECT_EQ(Enumerate(list), 0);
    EXPECT_EQ(list.Items(), Strings{"bob"});
}

TEST_P(NotInGroup, IsEveryoneForAnEmptyGroup) {
    List list;
    Directory({"ann", "bob"}, {}, {});
    EXPECT_EQ(Enumerate(list), 0);
    EXPECT_EQ(list.Items(), (Strings{"ann", "bob"}));
}

TEST_P(NotInGroup, IsNoOneWhenAllAreMembers) {
    List list;
    Directory({"ann", "bob"}, {"ann", "bob"}, {});
    EXPECT_EQ(Enumerate(list), 0);
    EXPECT_EQ(list.Items(), Strings{});
}

TEST_P(NotInGroup, SubtractsWithoutFlagsTwice) {
    List list;
    Directory({"ann"}, {}, {});
    EXPECT_EQ(Enumerate(list), 0);
    const std::vector<Call> calls = platform().CallsOf("QLIBCSzListSub");
    ASSERT_EQ(calls.size(), 2u);
    for (const Call &call : calls)
        EXPECT_TRUE(call.arguments == Strings{"0"} || call.arguments == Strings{"0x0"});
}

TEST_P(NotInGroup, FailsWithTheSubtraction) {
    for (const int nth : {1, 2}) {
        List list;
        Stale();
        TakeLog();
        platform().Forget();
        Finds(Users({"ann"}));
        Finds(Members({}));
        if (nth == 2) {
            Finds(Entry(kStaff, {{"gidNumber", "100"}}));
            FindsNothing();
        }
        platform().Fail("QLIBCSzListSub", nth, 0, 0x0200);
        EXPECT_EQ(Enumerate(list), -1);
        EXPECT_EQ(Log(), Strings{"QLIBCSzListSub() failed!! [0x0200]"});
        EXPECT_EQ(Tools().size(), nth == 1 ? 2u : 4u);
    }
}

TEST_P(NotInGroup, FailsWhenTheUsersCannotBeListed) {
    List list;
    SearchFails(51);
    EXPECT_EQ(Enumerate(list), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "list all users failed."}));
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(NotInGroup, FailsWithoutAGroup) {
    List list;
    Finds(Users({"ann"}));
    FindsNothing();
    EXPECT_EQ(Enumerate(list), -1);
    EXPECT_EQ(PlatformError(), 0x1800);
    EXPECT_EQ(Log(), Strings{Failed()});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(NotInGroup, FailsWhenThePrimaryMembersCannotBeListed) {
    List list;
    Finds(Users({"ann"}));
    Finds(Members({}));
    SearchFails(51);
    EXPECT_EQ(Enumerate(list), -1);
    EXPECT_EQ(Log(), (Strings{"get gidNumber for [" + kStaff + "] failed.", Failed()}));
}

TEST_P(NotInGroup, FailsWithEveryListThatCannotBeFilled) {
    platform().On("ldapsearch", "memberUid").Prints(Members({"bob"})).Always();
    platform().On("ldapsearch", "gidNumber").Prints(Entry(kStaff, {{"gidNumber", "100"}})).Always();
    platform().On("ldapsearch").Prints(Users({"ann", "bob"})).Always();
    List list;
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return Enumerate(list); }, [&](int result) { EXPECT_EQ(result, -1); });
}

}  // namespace zafo::foreign::membership_enum_test
