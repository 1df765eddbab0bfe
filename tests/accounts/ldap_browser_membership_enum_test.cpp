// SPDX-License-Identifier: Apache-2.0
//
// Which groups a user is in, and which users are and are not in a group.
#include "tests/accounts/reading_fixture.h"

namespace zafo::accounts_test::membership_enum {
namespace {

constexpr const char *kUserDN = "uid=ann,ou=people,dc=x";
constexpr const char *kGroupDN = "cn=staff,dc=x";
constexpr const char *kTwoGroups = "dn: cn=b\ncn: b\ncn: second\n\ndn: cn=a\ncn: a\n\n";

Texts GroupsOf(const std::string &uid) {
    return SearchWords(kBase, {"(&(objectClass=posixGroup)(memberUid=" + uid + "))", "dn", "cn"});
}
Texts NameOf(const std::string &dn) {
    return SearchWords(dn, {"objectClass=posixAccount", "uid"});
}
Texts GidOf(const std::string &dn) {
    return SearchWords(dn, {"objectClass=posixGroup", "gidNumber"});
}
Texts UsersWithGid(const std::string &gid) {
    return SearchWords(kBase,
                       {"(&(objectClass=posixAccount)(gidNumber=" + gid + "))", "dn", "uid"});
}
Texts MembersOf(const std::string &dn) {
    return SearchWords(dn, {"objectClass=posixGroup", "dn", "memberUid"});
}

class GroupsOfUser : public ReadingTest {
  protected:
    int Run(const char *uid = "ann") {
        return ZAFOLDAPBrowserGroupEnumByUserUID(&host_, uid, dns_.Address(), names_.Address());
    }
    int RunByDN() {
        return ZAFOLDAPBrowserGroupEnumByUserDN(&host_, kUserDN, dns_.Address(), names_.Address());
    }
    List dns_, names_;
};

TEST_F(GroupsOfUser, AsksForGroupsThatListTheName) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Commands(), ElementsAre(GroupsOf("ann")));
    EXPECT_THAT(dns_.Items(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(GroupsOfUser, AppendsDNsAndNames) {
    Answer(kTwoGroups);
    EXPECT_EQ(Run(), 2);
    EXPECT_EQ(Run(), 2);
    EXPECT_THAT(dns_.Items(), ElementsAre("cn=b", "cn=a", "cn=b", "cn=a"));
    EXPECT_THAT(names_.Items(), ElementsAre("b", "a", "b", "a"));
}

TEST_F(GroupsOfUser, EitherListMayBeLeftOut) {
    Answer(kTwoGroups);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(&host_, "ann", nullptr, nullptr), 2);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumByUserUID(&host_, "ann", nullptr, names_.Address()), 2);
    EXPECT_THAT(names_.Items(), ElementsAre("b", "a"));
}

TEST_F(GroupsOfUser, EntryWithoutDNOrNameIsSkipped) {
    Answer("dn: cn=a\n\ncn: b\n\ndn: cn=c\ncn: c\n\n");
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(dns_.Items(), ElementsAre("cn=c"));
    EXPECT_THAT(names_.Items(), ElementsAre("c"));
}

TEST_F(GroupsOfUser, WhatCameBeforeAFailureStays) {
    tools_.On("ldapsearch").Output(kTwoGroups).Exit(4);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(dns_.Items(), ElementsAre("cn=b", "cn=a"));
    EXPECT_THAT(names_.Items(), ElementsAre("b", "a"));
}

TEST_F(GroupsOfUser, FilterThatIsTooLongIsRefused) {
    EXPECT_EQ(Run(std::string(2100, 'n').c_str()), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(GroupsOfUser, ByDNGoesByTheNameThere) {
    Answer("dn: uid=ann,ou=people,dc=x\nuid: anna\n\n");
    Answer(kTwoGroups);
    EXPECT_EQ(RunByDN(), 2);
    EXPECT_THAT(Commands(), ElementsAre(NameOf(kUserDN), GroupsOf("anna")));
    EXPECT_THAT(names_.Items(), ElementsAre("b", "a"));
}

TEST_F(GroupsOfUser, ByDNOfAMissingUserIsNoSuchUser) {
    EXPECT_EQ(RunByDN(), -1);
    ExpectSlots(kStaleLdapCode, 0x1D00);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(tools_.Calls().size(), 1u);
}

TEST_F(GroupsOfUser, ByDNRefusesANameThatDoesNotFit) {
    const std::string fits(1023, 'n');
    Answer("dn: x\nuid: " + fits + "\n\n");
    Answer("");
    EXPECT_EQ(RunByDN(), 0);
    EXPECT_EQ(Commands().at(1), GroupsOf(fits));

    tools_.Reset();
    Answer("dn: x\nuid: " + fits + "n\n\n");
    EXPECT_EQ(RunByDN(), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(LoggedTexts(), ElementsAre("ZAFOLDAPUserDN2UID failed. [uid=ann,ou=people,dc=x] "));
    EXPECT_EQ(tools_.Calls().size(), 1u);
}

class PrimaryUsers : public ReadingTest {
  protected:
    int Run(const char *dn, const char *cn) {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(&host_, dn, cn, users_.Address());
    }
    List users_{"stale"};
};

TEST_F(PrimaryUsers, ByDNFindsTheGidThenItsUsers) {
    Answer("dn: cn=staff,dc=x\ngidNumber: 1000\n\n");
    Answer("dn: x=1\nuid: ann\nuid: anna\n\ndn: x=2\n\ndn: x=3\nuid: bob\n\n");
    EXPECT_EQ(Run(kGroupDN, nullptr), 3);
    EXPECT_THAT(Commands(), ElementsAre(GidOf(kGroupDN), UsersWithGid("1000")));
    EXPECT_THAT(users_.Items(), ElementsAre("ann", "", "bob")) << "the list is emptied first";
    ExpectSlotsUntouched();
}

TEST_F(PrimaryUsers, ByNameLooksBelowTheBase) {
    Answer("dn: cn=staff,dc=x\ngidNumber: 1000\n\n");
    Answer("dn: x=1\nuid: ann\n\n");
    EXPECT_EQ(Run(nullptr, "staff"), 1);
    EXPECT_THAT(
        Commands(),
        ElementsAre(SearchWords(kBase, {"(&(objectClass=posixGroup)(cn=staff))", "gidNumber"}),
                    UsersWithGid("1000")));
}

TEST_F(PrimaryUsers, DNWinsOverTheName) {
    Answer("dn: cn=staff,dc=x\ngidNumber: 1000\n\n");
    Answer("");
    EXPECT_EQ(Run(kGroupDN, "other"), 0);
    EXPECT_THAT(Commands(), ElementsAre(GidOf(kGroupDN), UsersWithGid("1000")));
    EXPECT_THAT(users_.Items(), IsEmpty());
}

TEST_F(PrimaryUsers, GroupWithoutAGidHasNone) {
    Answer("dn: cn=staff,dc=x\n\n");
    Answer("");
    EXPECT_EQ(Run(kGroupDN, nullptr), 0);
    EXPECT_THAT(Commands(), ElementsAre(GidOf(kGroupDN), UsersWithGid("")));
}

TEST_F(PrimaryUsers, WhatCameBeforeAFailureStays) {
    Answer("dn: cn=staff,dc=x\ngidNumber: 1000\n\n");
    tools_.On("ldapsearch").Output("dn: x=1\nuid: ann\n\n").Exit(4);
    EXPECT_EQ(Run(kGroupDN, nullptr), -1);
    EXPECT_THAT(users_.Items(), ElementsAre("ann"));
}

TEST_F(PrimaryUsers, TextThatDoesNotFitIsRefused) {
    Answer("dn: x\ngidNumber: " + std::string(1024, '1') + "\n\n");
    EXPECT_EQ(Run(kGroupDN, nullptr), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(Run(nullptr, std::string(2100, 'n').c_str()), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(tools_.Calls().size(), 1u);
    EXPECT_THAT(users_.Items(), ElementsAre("stale"));
}

TEST_F(PrimaryUsers, ByNameNeedsABase) {
    host_.szBaseDN = nullptr;
    EXPECT_EQ(Run(nullptr, "staff"), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(LoggedTexts().back(), "get gidNumber for [staff] failed.");
}

class Members : public ReadingTest {
  protected:
    int Run() { return ZAFOLDAPBrowserUserEnumByGroupDN(&host_, kGroupDN, users_.Address()); }
    List users_{"stale"};
};

TEST_F(Members, AreReadFromTheGroupAtTheWholeDN) {
    Answer("dn: cn=staff,dc=x\nmemberUid: b\nMEMBERUID: a\n\ndn: cn=below\nmemberUid: c\n\n");
    EXPECT_EQ(Run(), 2);
    EXPECT_THAT(Commands(), ElementsAre(MembersOf(kGroupDN)));
    EXPECT_THAT(users_.Items(), ElementsAre("b", "a")) << "the list is emptied first";
    ExpectSlotsUntouched();
}

TEST_F(Members, GroupWithoutAnyGivesAnEmptyList) {
    Answer("dn: cn=staff,dc=x\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(users_.Items(), IsEmpty());
}

TEST_F(Members, NoGroupThereIsNoSuchGroup) {
    EXPECT_EQ(Run(), -1);
    ExpectSlots(kStaleLdapCode, 0x1800);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_THAT(users_.Items(), ElementsAre("stale"));
}

class NotInGroup : public ReadingTest {
  protected:
    int Run() { return ZAFOLDAPBrowserUserEnumNotInGroupDN(&host_, kGroupDN, users_.Address()); }
    void AnswerAll(const std::string &users, const std::string &group, const std::string &primary) {
        Answer(users);
        Answer("dn: cn=staff,dc=x\n" + group + "\n");
        Answer("dn: cn=staff,dc=x\ngidNumber: 1000\n\n");
        Answer(primary);
    }
    List users_;
};

const char *const kFourUsers =
    "dn: x=1\nuid: ann\n\ndn: x=2\nuid: bob\n\ndn: x=3\nuid: cyd\n\ndn: x=4\nuid: dan\n\n";

TEST_F(NotInGroup, LeavesOutMembersAndPrimaryUsers) {
    AnswerAll(kFourUsers, "memberUid: bob\nmemberUid: nobody\n", "dn: x=4\nuid: dan\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(users_.Items(), ElementsAre("ann", "cyd"));
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords(kBase, {"objectClass=posixAccount", "dn", "uid"}),
                            MembersOf(kGroupDN), GidOf(kGroupDN), UsersWithGid("1000")));
    ExpectSlotsUntouched();
}

TEST_F(NotInGroup, UserWhoIsBothIsLeftOut) {
    AnswerAll(kFourUsers, "memberUid: ann\n", "dn: x=1\nuid: ann\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(users_.Items(), ElementsAre("bob", "cyd", "dan"));
}

TEST_F(NotInGroup, GroupOfEveryoneLeavesNoOne) {
    AnswerAll(kFourUsers, "memberUid: dan\nmemberUid: cyd\nmemberUid: bob\nmemberUid: ann\n", "");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(users_.Items(), IsEmpty());
}

TEST_F(NotInGroup, EmptyGroupLeavesEveryone) {
    AnswerAll(kFourUsers, "", "");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(users_.Items().size(), 4u);
}

TEST_F(NotInGroup, NamesAreCaseSensitive) {
    AnswerAll(kFourUsers, "memberUid: ANN\n", "");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(users_.Items().size(), 4u);
}

TEST_F(NotInGroup, AppendsAndSubtractsFromWhatWasThere) {
    QLIBCSzListPush(users_.Address(), "bob");
    QLIBCSzListPush(users_.Address(), "before");
    AnswerAll("dn: x=1\nuid: ann\n\n", "memberUid: bob\n", "");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(users_.Items(), ElementsAre("before", "ann"));
}

TEST_F(NotInGroup, DNOfNoGroupIsNoSuchGroup) {
    Answer(kFourUsers);
    Answer("");
    EXPECT_EQ(Run(), -1);
    ExpectSlots(kStaleLdapCode, 0x1800);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("ZAFOLDAPBrowserUserEnumByGroupDN failed. [cn=staff,dc=x] "));
    EXPECT_EQ(users_.Items().size(), 4u) << "what was listed stays";
}

}  // namespace
}  // namespace zafo::accounts_test::membership_enum
