// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::membership_edit_test {

std::string Dn(const std::string &group) {
    return "cn=" + group + ",cn=groups," + kBase;
}
std::string Member(const std::string &name) {
    return "uid=" + name + ",cn=users," + kBase;
}
std::string Block(const std::string &dn, const std::string &word, const std::string &name = "ann") {
    return "dn: " + dn + "\nchangetype: modify\n" + word + ": memberUid\nmemberUid: " + name +
           "\n-\n" + word + ": member\nmember: " + Member(name) + "\n\n";
}
std::string Groups(const Strings &names) {
    std::string text;
    for (const std::string &name : names)
        text += Entry(Dn(name), {{"cn", name}});
    return text;
}

class GroupsEdit : public AccountsTest {
  protected:
    int Edit(const QLIBSZLIST *added, const QLIBSZLIST *removed) {
        return ZAFOLDAPBrowserGroupEditByUserUID(host, "ann", added, removed);
    }
    static Strings Question() { return Below(And(kGroups, "memberUid=ann"), {"dn", "cn"}); }
};
ZAFO_FOREIGN_SUITE(GroupsEdit);

TEST_P(GroupsEdit, AddsAndRemovesInOneChange) {
    List added{"cn=new,cn=groups,dc=x,dc=example", "cn=also,cn=groups,dc=x,dc=example"};
    List removed{"cn=old,cn=groups,dc=x,dc=example"};
    Finds(Groups({"old", "kept"}));
    EXPECT_EQ(Edit(added, removed), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{Question()});
    EXPECT_EQ(Changes(), Strings{Block(Dn("new"), "add") + Block(Dn("also"), "add") +
                                 Block(Dn("old"), "delete")});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(GroupsEdit, TakesOneListAlone) {
    List added{"cn=new,cn=groups,dc=x,dc=example"};
    List removed{"cn=old,cn=groups,dc=x,dc=example"};
    Finds(Groups({"old"}));
    Finds(Groups({"old"}));
    EXPECT_EQ(Edit(added, nullptr), 0);
    EXPECT_EQ(Edit(nullptr, removed), 0);
    EXPECT_EQ(Changes(), (Strings{Block(Dn("new"), "add"), Block(Dn("old"), "delete")}));
}

TEST_P(GroupsEdit, LeavesWhatIsAlreadyAsRequested) {
    List added{"CN=Old,CN=Groups,DC=X,DC=Example", "cn=kept,cn=groups,dc=x,dc=example"};
    List removed{"cn=other,cn=groups,dc=x,dc=example"};
    Finds(Groups({"old", "kept"}));
    EXPECT_EQ(Edit(added, removed), 0);
    EXPECT_EQ(Changes(), Strings{});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupsEdit, RemovesFromAGroupThatIsSpeltOtherwise) {
    List removed{"CN=Old,CN=Groups,DC=X,DC=Example"};
    Finds(Groups({"kept", "old", "a"}));
    EXPECT_EQ(Edit(nullptr, removed), 0);
    EXPECT_EQ(Changes(), Strings{Block("CN=Old,CN=Groups,DC=X,DC=Example", "delete")});
}

TEST_P(GroupsEdit, EmptyListsChangeNothing) {
    List added;
    List removed;
    Finds(Groups({"old"}));
    EXPECT_EQ(Edit(added, removed), 0);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(GroupsEdit, LeavesTheCallersLists) {
    List added{"cn=z", "cn=a", "CN=M"};
    List removed{"cn=y", "cn=b"};
    FindsNothing();
    EXPECT_EQ(Edit(added, removed), 0);
    EXPECT_EQ(added.Items(), (Strings{"cn=z", "cn=a", "CN=M"}));
    EXPECT_EQ(removed.Items(), (Strings{"cn=y", "cn=b"}));
    EXPECT_EQ(Changes(),
              Strings{Block("cn=z", "add") + Block("cn=a", "add") + Block("CN=M", "add")});
}

TEST_P(GroupsEdit, SortsTheCurrentGroupsForTheSearchInThem) {
    List added{"cn=z"};
    Finds(Groups({"b", "a"}));
    EXPECT_EQ(Edit(added, nullptr), 0);
    EXPECT_EQ(platform().Order({"QLIBCSzListSortItems", "QLIBCSzListCaseFind"}),
              (Strings{"QLIBCSzListSortItems", "QLIBCSzListCaseFind"}));
    const Strings flags = platform().CallsOf("QLIBCSzListSortItems").at(0).arguments;
    EXPECT_TRUE(flags == Strings{"16"} || flags == Strings{"0x10"});
}

TEST_P(GroupsEdit, FailsWhenTheGroupsCannotBeListed) {
    List added{"cn=z"};
    Finds(Groups({"old"})).Exits(51);
    EXPECT_EQ(Edit(added, nullptr), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "get group list for user ann failed."}));
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupsEdit, FailsWithTheTool) {
    List added{"cn=z"};
    FindsNothing();
    platform().On("ldapmodify").Exits(20);
    EXPECT_EQ(Edit(added, nullptr), -1);
    EXPECT_EQ(LibraryError(), 20);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPModify failed [ann] [0x7777]"});
}

TEST_P(GroupsEdit, FailsWithEveryListThatCannotBeFilled) {
    List added{"cn=z"};
    platform().On("ldapsearch").Prints(Groups({"old"})).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return Edit(added, nullptr); },
            [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(GroupsEdit, ByDnTakesTheLoginName) {
    List added{"cn=z"};
    Finds(Entry("cn=Ann A,ou=b", {{"uid", "ann"}}));
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(host, "cn=Ann A,ou=b", added, nullptr), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{At("cn=Ann A,ou=b", kUsers, {"uid"}), Question()}));
    EXPECT_EQ(Changes(), Strings{Block("cn=z", "add")});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupsEdit, ByDnOfAMissingUserSaysSo) {
    List added{"cn=z"};
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(host, kAnn.c_str(), added, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x1D00);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed! Bad format of DN [" + kAnn + "]"});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupsEdit, ByDnThatCannotBeReadFails) {
    List added{"cn=z"};
    SearchFails(32);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(host, kAnn.c_str(), added, nullptr), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed. [" + kAnn + "] "});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(GroupsEdit, ChecksItsArgumentsInOrder) {
    const char *const lists = "NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList";
    struct {
        int (*edit)(const ZAFOLDAP_HOST *, const char *, const QLIBSZLIST *, const QLIBSZLIST *);
        const char *name;
        const char *lists;
    } const rows[] = {
        {ZAFOLDAPBrowserGroupEditByUserUID, "szUserUID", lists},
        {ZAFOLDAPBrowserGroupEditByUserDN, "szUserDN", lists},
        {ZAFOLDAPBrowserUserEditByGroupDN, "szGroupDN",
         "NULL != pAddedUserUIDList || NULL != pRemovedUserUIDList"},
    };
    for (const auto &row : rows) {
        ExpectHostChecked("szLoginSuffix", &Host::login_suffix, [&](ZAFOLDAP_HOST *record) {
            return row.edit(record, nullptr, nullptr, nullptr);
        });
        ExpectArgumentFailureOn(row.name,
                                [&] { return row.edit(host, nullptr, nullptr, nullptr); });
        ExpectArgumentFailure(row.lists, [&] { return row.edit(host, "x", nullptr, nullptr); });
    }
}

TEST_P(GroupsEdit, WritesTheWholeChangeOrNoneWhereAListDoesNotGiveAnItem) {
    List added{"cn=new,cn=groups,dc=x,dc=example"};
    Finds(Groups({"old", "kept"})).Always();
    ExpectWholeChangeOrNone([&] { return Edit(added, nullptr); });
}

class MembersEdit : public AccountsTest {
  protected:
    int Edit(const QLIBSZLIST *added, const QLIBSZLIST *removed) {
        return ZAFOLDAPBrowserUserEditByGroupDN(host, kStaff.c_str(), added, removed);
    }
    static std::string Record(const Strings &lines) {
        return "dn: " + kStaff + "\nchangetype: modify\n" + Joined(lines);
    }
};
ZAFO_FOREIGN_SUITE(MembersEdit);

TEST_P(MembersEdit, WritesTheWholeChangeOrNoneWhereAListDoesNotGiveAnItem) {
    List names{"ann", "bob"};
    ExpectWholeChangeOrNone([&] { return Edit(names, names); });
}

TEST_P(MembersEdit, AddsAndRemovesInOneRecord) {
    List added{"zoe", "ann"};
    List removed{"bob", "eve"};
    EXPECT_EQ(Edit(added, removed), 0);
    EXPECT_EQ(Changes(), Strings{Record({"add: memberUid", "memberUid: zoe", "memberUid: ann", "-",
                                         "add: member", "member: " + Member("zoe"),
                                         "member: " + Member("ann"), "-", "delete: memberUid",
                                         "memberUid: bob", "memberUid: eve", "-", "delete: member",
                                         "member: " + Member("bob"), "member: " + Member("eve")})});
    EXPECT_EQ(Tools(), Strings{"ldapmodify"});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(MembersEdit, AddsAlone) {
    List added{"ann"};
    EXPECT_EQ(Edit(added, nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record({"add: memberUid", "memberUid: ann", "-", "add: member",
                                         "member: " + Member("ann"), "-"})});
}

TEST_P(MembersEdit, RemovesAlone) {
    List removed{"ann"};
    EXPECT_EQ(Edit(nullptr, removed), 0);
    EXPECT_EQ(Changes(), Strings{Record({"delete: memberUid", "memberUid: ann", "-",
                                         "delete: member", "member: " + Member("ann")})});
}

TEST_P(MembersEdit, AnEmptyListStillWritesItsLines) {
    List empty;
    EXPECT_EQ(Edit(empty, nullptr), 0);
    EXPECT_EQ(Edit(nullptr, empty), 0);
    EXPECT_EQ(Edit(empty, empty), 0);
    EXPECT_EQ(Changes(), (Strings{Record({"add: memberUid", "-", "add: member", "-"}),
                                  Record({"delete: memberUid", "-", "delete: member"}),
                                  Record({"add: memberUid", "-", "add: member", "-",
                                          "delete: memberUid", "-", "delete: member"})}));
}

TEST_P(MembersEdit, FailsWithTheToolInSilence) {
    List added{"ann"};
    for (const int code : {16, 20, 50}) {
        platform().On("ldapmodify").Exits(code);
        EXPECT_EQ(Edit(added, nullptr), -1);
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(MembersEdit, AddsThousands) {
    List added;
    Strings lines{"add: memberUid"};
    Strings dns{"-", "add: member"};
    for (int i = 0; i < 2000; ++i) {
        const std::string name = "u" + std::to_string(i);
        QLIBCSzListPush(&added, name.c_str());
        lines.push_back("memberUid: " + name);
        dns.push_back("member: " + Member(name));
    }
    dns.push_back("-");
    EXPECT_EQ(Edit(added, nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Record(With(lines, dns))});
}

class NameChange : public AccountsTest {
  protected:
    int Change(const char *name) {
        return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, "ann", name);
    }
    static Strings Question() { return Below(And(kGroups, "memberUid=ann"), {"dn", "cn"}); }
    static std::string Follows(const std::string &dn) {
        return "dn: " + dn +
               "\nchangetype: modify\ndelete: memberUid\nmemberUid: ann\n-\ndelete: "
               "member\nmember: " +
               Member("ann") +
               "\n-\nadd: memberUid\nmemberUid: anna\n-\nadd: member\nmember: " + Member("anna") +
               "\n\n";
    }
};
ZAFO_FOREIGN_SUITE(NameChange);

TEST_P(NameChange, IsFollowedInEveryGroup) {
    Finds(Groups({"b", "a"}));
    EXPECT_EQ(Change("anna"), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{Question()});
    EXPECT_EQ(Changes(), Strings{Follows(Dn("b")) + Follows(Dn("a"))});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(NameChange, ToNothingOnlyRemoves) {
    Finds(Groups({"b", "a"}));
    EXPECT_EQ(Change(nullptr), 0);
    EXPECT_EQ(Changes(), Strings{Block(Dn("b"), "delete") + Block(Dn("a"), "delete")});
}

TEST_P(NameChange, OfAUserInNoGroupRunsNothing) {
    FindsNothing();
    EXPECT_EQ(Change("anna"), 0);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(NameChange, FailsWhenTheGroupsCannotBeListed) {
    Finds(Groups({"b"})).Exits(51);
    EXPECT_EQ(Change("anna"), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
}

TEST_P(NameChange, FailsWithTheTool) {
    Finds(Groups({"b"}));
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(Change("anna"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPModify failed [ann] [0x7777]"});
}

TEST_P(NameChange, ByDnTakesTheOldName) {
    Finds(Entry("cn=Ann A,ou=b", {{"uid", "ann"}}));
    Finds(Groups({"b"}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(host, "cn=Ann A,ou=b", "anna"), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{At("cn=Ann A,ou=b", kUsers, {"uid"}), Question()}));
    EXPECT_EQ(Changes(), Strings{Follows(Dn("b"))});
}

TEST_P(NameChange, ByDnOfAMissingUserSaysSo) {
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(host, kAnn.c_str(), "anna"), -1);
    EXPECT_EQ(PlatformError(), 0x1D00);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed! Bad format of DN [" + kAnn + "]"});
}

TEST_P(NameChange, ByDnThatCannotBeReadFails) {
    SearchFails(49);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(host, kAnn.c_str(), "anna"), -1);
    EXPECT_EQ(LibraryError(), 49);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPUserDN2UID failed. [" + kAnn + "] "});
}

TEST_P(NameChange, FailsWithEveryListThatCannotBeFilled) {
    platform().On("ldapsearch").Prints(Groups({"b"})).Always();
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        FailEach(
            function, [&] { return Change("anna"); }, [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(NameChange, ChecksItsArgumentsInOrder) {
    struct {
        int (*change)(const ZAFOLDAP_HOST *, const char *, const char *);
        const char *name;
    } const rows[] = {{ZAFOLDAPBrowserGroupEditWhenUserUIDChange, "szUserUID"},
                      {ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN, "szUserDN"}};
    for (const auto &row : rows) {
        ExpectHostChecked("szLoginSuffix", &Host::login_suffix, [&](ZAFOLDAP_HOST *record) {
            return row.change(record, nullptr, nullptr);
        });
        ExpectArgumentFailureOn(row.name, [&] { return row.change(host, nullptr, nullptr); });
    }
}

class PrimaryGroupChange : public AccountsTest {
  protected:
    int Change(std::optional<unsigned> from, std::optional<unsigned> to) {
        return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", from ? &*from : nullptr,
                                                         to ? &*to : nullptr);
    }
    static Strings Question(const std::string &gid) {
        return Below(And(kGroups, "gidNumber=" + gid), {"dn"});
    }
};
ZAFO_FOREIGN_SUITE(PrimaryGroupChange);

TEST_P(PrimaryGroupChange, MovesTheUserBetweenTheGroups) {
    Finds(Groups({"old", "older"}));
    Finds(Groups({"new", "newer"}));
    EXPECT_EQ(Change(100, 4294967294u), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{Question("100"), Question("4294967294")}));
    EXPECT_EQ(Changes(), Strings{Block(Dn("old"), "delete") + Block(Dn("older"), "delete") +
                                 Block(Dn("new"), "add") + Block(Dn("newer"), "add")});
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(PrimaryGroupChange, TakesOneNumberAlone) {
    Finds(Groups({"old"}));
    EXPECT_EQ(Change(100, std::nullopt), 0);
    Finds(Groups({"new"}));
    EXPECT_EQ(Change(std::nullopt, 0), 0);
    EXPECT_EQ(Searches(), (std::vector<Strings>{Question("100"), Question("0")}));
    EXPECT_EQ(Changes(), (Strings{Block(Dn("old"), "delete"), Block(Dn("new"), "add")}));
}

TEST_P(PrimaryGroupChange, ToANumberThatNoGroupHasOnlyRemoves) {
    Finds(Groups({"old"}));
    FindsNothing();
    EXPECT_EQ(Change(100, 200), 0);
    EXPECT_EQ(Changes(), Strings{Block(Dn("old"), "delete")});
}

TEST_P(PrimaryGroupChange, WithoutNumbersRunsNothing) {
    EXPECT_EQ(Change(std::nullopt, std::nullopt), 0);
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(PrimaryGroupChange, OfNumbersThatNoGroupHasRunsNothing) {
    EXPECT_EQ(Change(100, 200), 0);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(PrimaryGroupChange, ANumberThatCannotBeLookedUpCountsAsNoGroup) {
    Finds(Groups({"old"})).Exits(4);
    Finds(Groups({"new"}));
    EXPECT_EQ(Change(100, 200), 0);
    Finds(Groups({"old"}));
    Finds(Groups({"new"})).Exits(4);
    EXPECT_EQ(Change(100, 200), 0);
    SearchFails(51);
    SearchFails(51);
    EXPECT_EQ(Change(100, 200), 0);
    EXPECT_EQ(Changes(), (Strings{Block(Dn("new"), "add"), Block(Dn("old"), "delete")}));
    EXPECT_EQ(Log(), Strings(4, kGetNextFailed));
}

TEST_P(PrimaryGroupChange, FailsWithTheTool) {
    Finds(Groups({"old"}));
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(Change(100, std::nullopt), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPModify failed [ann] [0x7777]"});
}

TEST_P(PrimaryGroupChange, ChecksItsArgumentsInOrder) {
    const unsigned gid = 1;
    const auto change = [&](ZAFOLDAP_HOST *record, const char *name) {
        return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(record, name, &gid, &gid);
    };
    ExpectHostChecked("szLoginSuffix", &Host::login_suffix,
                      [&](ZAFOLDAP_HOST *record) { return change(record, nullptr); });
    ExpectArgumentFailureOn("szUserUID", [&] { return change(host, nullptr); });
}

}  // namespace zafo::foreign::membership_edit_test
