// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::migration_to_directory_test {

constexpr unsigned kPosix = 0x61;   // top, posixAccount, posixGroup
constexpr unsigned kSamba = 0x861;  // and sambaSamAccount

bool EndsWith(const std::string &text, const std::string &end) {
    return text.ends_with(end);
}

class ToDirectory : public AccountsTest {
  protected:
    void SetUp() override {
        AccountsTest::SetUp();
        host.schema = kPosix;
    }
    // The entries that the library tried to add, in order.
    Strings Added() {
        Strings added;
        for (const std::string &change : ForeignTest::Changes())
            if (change.find("changetype: add\n") != std::string::npos) added.push_back(change);
        return added;
    }
    Strings ArgumentsOf(const std::string &function) {
        Strings all;
        for (const Call &call : platform().CallsOf(function))
            all.push_back(call.arguments.at(0));
        return all;
    }
};

class UsersToDirectory : public ToDirectory {
  protected:
    static LocalUser User(const std::string &name, uint32_t uid) {
        LocalUser user;
        user.name = name;
        user.uid = uid;
        user.password = "$1$ab$" + name;
        user.full_name = "Full " + name;
        user.folder = "/home/" + name;
        user.shell = "/bin/sh";
        user.lm_hash = "L" + name;
        user.nt_hash = "N" + name;
        return user;
    }
    void SetUp() override {
        ToDirectory::SetUp();
        platform().users = {User("zoe", 1001), User("ann", 1002)};
    }
    int Migrate() { return ZAFOLDAPBrowserMigrateUserToLDAP(host); }
    static std::string CreateFailed(const std::string &name, const std::string &code = "0x7777") {
        return "ZAFOLDAPBrowserUserCreate failed. [" + name + "][" + code + "]";
    }
};
ZAFO_FOREIGN_SUITE(UsersToDirectory);

TEST_P(UsersToDirectory, AreTheLocalOnesOneByOne) {
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(ArgumentsOf("ZAFOUserEnum"), Strings{"1"});
    EXPECT_EQ(ArgumentsOf("ZAFOUserGet"), (Strings{"zoe", "ann"}));
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{
                  Below(And(kUsers, "uid=zoe")), Below(And(kUsers, "uidNumber=1001"), {"dn"}),
                  Below(And(kUsers, "uid=ann")), Below(And(kUsers, "uidNumber=1002"), {"dn"})}));
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify", "ldapsearch",
                                "ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(UsersToDirectory, KeepTheirHashAsItIs) {
    EXPECT_EQ(Migrate(), 0);
    const Strings added = Added();
    ASSERT_EQ(added.size(), 2u);
    EXPECT_TRUE(added[0].starts_with("dn: uid=zoe,cn=users," + kBase + "\nchangetype: add\n"))
        << added[0];
    EXPECT_NE(added[0].find("\nuserPassword: {CRYPT}$1$ab$zoe\n"), std::string::npos) << added[0];
    EXPECT_NE(added[1].find("\nuserPassword: {CRYPT}$1$ab$ann\n"), std::string::npos) << added[1];
    EXPECT_EQ(platform().RunsOf("slappasswd").size(), 0u);
    EXPECT_EQ(platform().RunsOf("ldappasswd").size(), 0u);
}

TEST_P(UsersToDirectory, OfAnEmptyDatabaseRunNothing) {
    platform().users.clear();
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Tools(), Strings{});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UsersToDirectory, ThatCannotBeListedFail) {
    platform().Fail("ZAFOUserEnum", 1, -1, 0x0900);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOUserEnum failed, [0x0900]"});
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(UsersToDirectory, WithoutAListFail) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"QLIBCSzListAlloc failed.[0x0200]"});
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(UsersToDirectory, ThatCannotBeReadAreSkipped) {
    platform().Fail("ZAFOUserGet", 1, -1, 0x1D00);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"ZAFOUserGet failed. [zoe]. [0x1D00]"});
    ASSERT_EQ(Added().size(), 1u);
    EXPECT_TRUE(Added()[0].starts_with("dn: uid=ann,"));
}

TEST_P(UsersToDirectory, ThatTheServerRefusesAreSkipped) {
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"ZAFOLDAPModify failed [zoe] [0x7777]", CreateFailed("zoe")}));
    EXPECT_EQ(Added().size(), 2u);
}

TEST_P(UsersToDirectory, WhoseNameIsTakenAreSkipped) {
    platform().On("ldapsearch", "(uid=zoe)").Prints(Entry("uid=zoe,dc=x", {}));
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{CreateFailed("zoe")});
    EXPECT_EQ(LibraryError(), -65538);
    ASSERT_EQ(Added().size(), 1u);
}

TEST_P(UsersToDirectory, WhoseNumberIsTakenAreSkipped) {
    platform().On("ldapsearch", "uidNumber=1001").Prints(Entry("uid=x,dc=x", {}));
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{CreateFailed("zoe")});
    EXPECT_EQ(LibraryError(), -65540);
}

TEST_P(UsersToDirectory, WithoutSambaHaveNoHashes) {
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(platform().CallsOf("QLIBUserSmbPasswdGet").size(), 0u);
    for (const std::string &record : Added())
        EXPECT_EQ(record.find("samba"), std::string::npos);
}

TEST_P(UsersToDirectory, WithSambaBringEachItsOwnHashes) {
    host->nSchema = kSamba;
    EXPECT_EQ(Migrate(), 0);
    const std::vector<Call> calls = platform().CallsOf("QLIBUserSmbPasswdGet");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].arguments, (Strings{"zoe", "33", "33"}));
    EXPECT_EQ(calls[1].arguments, (Strings{"ann", "33", "33"}));
    const Strings added = Added();
    ASSERT_EQ(added.size(), 2u);
    EXPECT_TRUE(EndsWith(added[0], "\nsambaNTPassword: Nzoe\nsambaLMPassword: Lzoe\n")) << added[0];
    EXPECT_TRUE(EndsWith(added[1], "\nsambaNTPassword: Nann\nsambaLMPassword: Lann\n")) << added[1];
    EXPECT_EQ(added[1].find("zoe"), std::string::npos);
    TakeLog();
}

TEST_P(UsersToDirectory, WhoseSambaHashesCannotBeReadAreSkipped) {
    host->nSchema = kSamba;
    platform().Fail("QLIBUserSmbPasswdGet", 1, -1, 0x0900);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log()[0], "Get NTLM failed. [zoe] [0x0900]");
    ASSERT_EQ(Added().size(), 1u);
    EXPECT_TRUE(Added()[0].starts_with("dn: uid=ann,"));
    TakeLog();
}

TEST_P(UsersToDirectory, SurviveHashesThatFillTheirBuffers) {
    host->nSchema = kSamba;
    platform().Fills("QLIBUserSmbPasswdGet");
    EXPECT_EQ(Migrate(), 0);
    for (const std::string &record : Added())
        EXPECT_EQ(record.find(std::string(33, 'x')), std::string::npos);
    TakeLog();
}

TEST_P(UsersToDirectory, SurviveARecordThatDoesNotExist) {
    platform().Fail("ZAFOUserGet", 1, 0);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Added().size(), 1u);
    TakeLog();
}

TEST_P(UsersToDirectory, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    for (auto *migrate : {ZAFOLDAPBrowserMigrateUserToLDAP, ZAFOLDAPBrowserMigrateGroupToLDAP,
                          ZAFOLDAPBrowserMigrateUserToLocal, ZAFOLDAPBrowserMigrateGroupToLocal}) {
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return migrate(nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return migrate(nowhere); });
    }
}

class GroupsToDirectory : public ToDirectory {
  protected:
    void SetUp() override {
        ToDirectory::SetUp();
        LocalGroup staff;
        staff.name = "staff";
        staff.gid = 101;
        staff.members = Strings{"zoe", "ann"};
        staff.description = "All of us";
        LocalGroup crew;
        crew.name = "crew";
        crew.gid = 102;
        platform().groups = {staff, crew};
    }
    int Migrate() { return ZAFOLDAPBrowserMigrateGroupToLDAP(host); }
    static std::string Record(const std::string &name, const std::string &gid,
                              const std::string &rest) {
        return "dn: cn=" + name + ",cn=groups," + kBase +
               "\nchangetype: add\nobjectClass: top\ncn: " + name + "\ngidNumber: " + gid + "\n" +
               rest + "objectClass: posixGroup\n";
    }
    static std::string CreateFailed(const std::string &name) {
        return "ZAFOLDAPBrowserGroupCreate failed. [" + name + "][0x7777]";
    }
};
ZAFO_FOREIGN_SUITE(GroupsToDirectory);

TEST_P(GroupsToDirectory, BringMembersAndDescriptions) {
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(ArgumentsOf("ZAFOGroupEnum"), Strings{"1"});
    EXPECT_EQ(ArgumentsOf("ZAFOGroupGet"), (Strings{"staff", "crew"}));
    EXPECT_EQ(ArgumentsOf("ZAFOGroupDescGet"), (Strings{"staff", "crew"}));
    EXPECT_EQ(
        Added(),
        (Strings{Record("staff", "101", "description: All of us\nmemberUid: zoe\nmemberUid: ann\n"),
                 Record("crew", "102", "")}));
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{
                  Below(And(kGroups, "cn=staff")), Below(And(kGroups, "gidNumber=101"), {"dn"}),
                  Below(And(kGroups, "cn=crew")), Below(And(kGroups, "gidNumber=102"), {"dn"})}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(GroupsToDirectory, GrowTheDescriptionAndShrinkIt) {
    platform().groups[0].description = std::string(3000, 'd');
    platform().groups[1].description = "short";
    EXPECT_EQ(Migrate(), 0);
    const Strings added = Added();
    ASSERT_EQ(added.size(), 2u);
    EXPECT_NE(added[0].find("\ndescription: " + std::string(3000, 'd') + "\n"), std::string::npos);
    EXPECT_EQ(added[1], Record("crew", "102", "description: short\n"));
}

TEST_P(GroupsToDirectory, WithoutADescriptionDoNotGetThatOfThePreviousOne) {
    platform().Fail("ZAFOGroupDescGet", 2, -1, 0x1800);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"Get group crew description failed.[0x1800]"});
    const Strings added = Added();
    ASSERT_EQ(added.size(), 2u);
    EXPECT_EQ(added[1], Record("crew", "102", ""));
}

TEST_P(GroupsToDirectory, WhoseDescriptionCannotBeReadAreCreatedWithout) {
    platform().Fail("ZAFOGroupDescGet", 0, -1, 0x0900);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"Get group staff description failed.[0x0900]",
                              "Get group crew description failed.[0x0900]"}));
    EXPECT_EQ(Added(), (Strings{Record("staff", "101", "memberUid: zoe\nmemberUid: ann\n"),
                                Record("crew", "102", "")}));
}

TEST_P(GroupsToDirectory, ThatCannotBeListedFail) {
    platform().Fail("ZAFOGroupEnum", 1, -1, 0x0900);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOGroupEnum failed, [0x0900]"});
}

TEST_P(GroupsToDirectory, WithoutAListFail) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"QLIBCSzListAlloc failed.[0x0200]"});
}

TEST_P(GroupsToDirectory, ThatCannotBeReadAreSkipped) {
    platform().Fail("ZAFOGroupGet", 1, -1, 0x1800);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"ZAFOGroupGet failed. [staff]. [0x1800]"});
    EXPECT_EQ(Added(), Strings{Record("crew", "102", "")});
}

TEST_P(GroupsToDirectory, ThatTheServerRefusesAreSkipped) {
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"ZAFOLDAPModify failed [staff] [0x7777]", CreateFailed("staff")}));
    EXPECT_EQ(Added().size(), 2u);
}

TEST_P(GroupsToDirectory, WhoseNameIsTakenAreSkipped) {
    platform().On("ldapsearch", "(cn=staff)").Prints(Entry(kStaff, {}));
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{CreateFailed("staff")});
    EXPECT_EQ(LibraryError(), -65539);
    EXPECT_EQ(Added().size(), 1u);
}

TEST_P(GroupsToDirectory, SurviveMissingRecordsAndDescriptions) {
    platform().Fail("ZAFOGroupGet", 1, 0);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Added().size(), 1u);
    platform().Forget();
    platform().Fail("ZAFOGroupDescGet", 1, 0);
    EXPECT_EQ(Migrate(), 0);
    TakeLog();
}

}  // namespace zafo::foreign::migration_to_directory_test
