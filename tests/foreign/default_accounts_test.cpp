// SPDX-License-Identifier: Apache-2.0
//
// The groups and the administrator that a new server gets.
#include <ctime>

#include "tests/foreign/server.h"
#include "zafoldap/server.h"

namespace zafo::foreign::default_accounts_test {

constexpr char kOperators[] = "cn=Directory Operators,cn=groups,dc=x,dc=example";
constexpr char kAdministrators[] = "cn=administrators,cn=groups,dc=x,dc=example";

std::string GroupRecord(const std::string &name, const std::string &gid,
                        const std::string &description) {
    return "dn: cn=" + name +
           ",cn=groups,dc=x,dc=example\nchangetype: add\nobjectClass: top\ncn: " + name +
           "\ngidNumber: " + gid + "\ndescription: " + description + "\nobjectClass: posixGroup\n";
}

std::string Membership(const std::string &group) {
    return "dn: " + group +
           "\nchangetype: modify\nadd: memberUid\nmemberUid: admin\n-\nadd: member\n"
           "member: uid=admin,cn=users,dc=x,dc=example\n-\n";
}

class ServerDefaultAdd : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        SaveConnection();
    }
    void AnswerHash() { platform().On("slappasswd").Prints("{CRYPT}hash\n"); }
    // Scripts an appliance's own server without Samba's classes.
    void AnswerServer() {
        AnswerConnection({"top", "posixAccount", "posixGroup", "shadowAccount"});
    }
    // The search containing this text finds one entry.
    void IsThere(const std::string &text) {
        platform()
            .On("ldapsearch", text)
            .Prints(Entry("cn=it is there,dc=x,dc=example", {}))
            .Always();
    }
    void AllExist() {
        for (const char *name :
             {"(cn=users)", "(cn=Directory Operators)", "(cn=administrators)", "(uid=admin)"})
            IsThere(name);
    }
};
ZAFO_FOREIGN_SUITE(ServerDefaultAdd);

TEST_P(ServerDefaultAdd, MakesGroupsAdministratorAndMemberships) {
    AnswerServer();
    AnswerHash();
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    const Strings changes = Changes();
    ASSERT_EQ(changes.size(), 6u);
    EXPECT_EQ(changes[0], GroupRecord("users", "1000001", "Directory default group"));
    EXPECT_EQ(changes[1],
              GroupRecord("Directory Operators", "1000000", "Directory default admin group"));
    EXPECT_EQ(changes[2], GroupRecord("administrators", "1000002", "Homebox default admin group"));
    EXPECT_EQ(changes[4], Membership(kOperators));
    EXPECT_EQ(changes[5], Membership(kAdministrators));
}

TEST_P(ServerDefaultAdd, MakesTheAdministratorFromTheConnectionsPassword) {
    AnswerServer();
    AnswerHash();
    const long before = static_cast<long>(time(nullptr) / 86400);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    ASSERT_EQ(Changes().size(), 6u);
    const auto record = [](long day) {
        return "dn: uid=admin,cn=users,dc=x,dc=example\nchangetype: add\nobjectClass: top\n"
               "cn: admin\nuid: admin\ngecos: Directory/Homebox default admin user\n"
               "userPassword: {CRYPT}hash\nuidNumber: 1000000\ngidNumber: 1000001\n"
               "loginShell: /bin/sh\nhomeDirectory: /home/admin\nobjectClass: posixAccount\n"
               "shadowLastChange: " +
               std::to_string(day) +
               "\nshadowMin: 0\nshadowMax: 99999\nshadowWarning: 7\nshadowExpire: -1\n"
               "shadowInactive: 0\nshadowFlag: 0\nobjectClass: shadowAccount\n";
    };
    const std::string text = Changes()[3];
    EXPECT_EQ(text,
              record(text.find("shadowLastChange: " + std::to_string(before)) == std::string::npos
                         ? before + 1
                         : before));
    ASSERT_EQ(platform().RunsOf("slappasswd").size(), 1u);
    EXPECT_EQ(platform().RunsOf("slappasswd").at(0).argv,
              (Strings{"-h", "{CRYPT}", "-s", "secret", "-c", "$1$%.2s"}));
    ASSERT_EQ(platform().RunsOf("ldappasswd").size(), 1u);
    EXPECT_EQ(platform().RunsOf("ldappasswd").at(0).argv,
              (Strings{"-x", "-H", "ldap://localhost", "-D", "cn=admin,dc=x,dc=example", "-w",
                       "secret", "-s", "secret", "uid=admin,cn=users,dc=x,dc=example"}));
}

TEST_P(ServerDefaultAdd, UsesTheSavedConnectionRoot) {
    AnswerServer();
    AnswerHash();
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    ASSERT_FALSE(platform().CallsOf("QLIBCFileGetSection").empty());
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetSection").at(0).arguments,
              (Strings{kBrowserConf, "root"}));
    for (const Run &run : platform().RunsOf("ldapmodify")) {
        EXPECT_EQ(run.argv.at(2), "ldap://localhost");
        EXPECT_EQ(run.argv.at(8), "secret");
    }
}

TEST_P(ServerDefaultAdd, DoesNothingWithoutASavedConnection) {
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(PlatformError(), 0x2200);
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(ServerDefaultAdd, DoesNothingOnAServerThatCannotBeClassified) {
    platform().On("ldapsearch").Exits(255);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LibraryError(), 255);
    EXPECT_EQ(platform().Runs().size(), 1u);
}

TEST_P(ServerDefaultAdd, SucceedsAndChangesNothingWhenEverythingExists) {
    AnswerServer();
    AllExist();
    platform().On("ldapmodify").Exits(20);
    platform().On("ldapmodify").Exits(20);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    EXPECT_EQ(Changes(), (Strings{Membership(kOperators), Membership(kAdministrators)}));
    EXPECT_TRUE(platform().RunsOf("ldappasswd").empty());
    EXPECT_EQ(LibraryError(), 0);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerDefaultAdd, AddsWhatIsMissingOnly) {
    AnswerServer();
    IsThere("(cn=users)");
    IsThere("(cn=administrators)");
    IsThere("(uid=admin)");
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    EXPECT_EQ(
        Changes(),
        (Strings{GroupRecord("Directory Operators", "1000000", "Directory default admin group"),
                 Membership(kOperators), Membership(kAdministrators)}));
}

TEST_P(ServerDefaultAdd, FailsAtANumberOfAnotherGroup) {
    AnswerServer();
    IsThere("(gidNumber=1000000)");
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_GID_EXISTS);
    EXPECT_EQ(Changes(), Strings{GroupRecord("users", "1000001", "Directory default group")});
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log()[0], "gid [1000000] already exists");
    EXPECT_TRUE(platform().RunsOf("slappasswd").empty());
}

TEST_P(ServerDefaultAdd, NamesTheGroupWhoseNumberIsTaken) {
    AnswerServer();
    IsThere("(gidNumber=1000001)");
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(Log(), (Strings{"gid [1000001] already exists",
                              "create default group [users] failed, ldap_gid_already_exists "
                              "(-65541)"}));
}

TEST_P(ServerDefaultAdd, FailsAtANumberOfAnotherUser) {
    AnswerServer();
    IsThere("(uidNumber=1000000)");
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LibraryError(), ZAFOLDAP_ERR_UID_EXISTS);
    EXPECT_EQ(Changes().size(), 3u);
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log()[0], "uid [1000000] already exists");
}

TEST_P(ServerDefaultAdd, SaysWhichGroupTheServerRefuses) {
    const char *const names[] = {"users", "Directory Operators", "administrators"};
    for (size_t failing = 0; failing < 3; ++failing) {
        Again();
        AnswerServer();
        for (size_t good = 0; good < failing; ++good)
            platform().On("ldapmodify");
        platform().On("ldapmodify").Exits(50);
        EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
        EXPECT_EQ(LibraryError(), 50);
        EXPECT_EQ(Changes().size(), failing + 1);
        EXPECT_EQ(Log(), (Strings{std::string("ZAFOLDAPModify failed [") + names[failing] + "] " +
                                      Slot(kStalePlatformError),
                                  std::string("create default group [") + names[failing] +
                                      "] failed, ldap_insufficient_access (50)"}));
    }
}

TEST_P(ServerDefaultAdd, ShowsACodeWithoutAMessage) {
    AnswerServer();
    platform().On("ldapmodify").Exits(80);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    ASSERT_EQ(Log().size(), 2u);
    EXPECT_EQ(Log()[1], "create default group [users] failed,  (80)");
}

TEST_P(ServerDefaultAdd, SaysWhenTheServerRefusesTheAdministrator) {
    AnswerServer();
    AnswerHash();
    for (int good = 0; good < 3; ++good)
        platform().On("ldapmodify");
    platform().On("ldapmodify").Exits(50);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Changes().size(), 4u);
    EXPECT_EQ(Log(), Strings{"create default user [admin] failed, ldap_insufficient_access (50)"});
}

TEST_P(ServerDefaultAdd, FailsWhenTheAdministratorsPasswordCannotBeSet) {
    AnswerServer();
    AnswerHash();
    platform().On("ldappasswd").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(Changes().size(), 4u);
}

TEST_P(ServerDefaultAdd, ContinuesWhenTheAdministratorIsAMemberAlready) {
    for (size_t member : {0u, 1u}) {
        Again();
        AnswerServer();
        AllExist();
        for (size_t good = 0; good < member; ++good)
            platform().On("ldapmodify");
        platform().On("ldapmodify").Exits(20);
        EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0) << member;
        EXPECT_EQ(Changes().size(), 2u);
        EXPECT_EQ(LibraryError(), 0);
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(ServerDefaultAdd, SaysWhichMembershipTheServerRefuses) {
    const char *const groups[] = {kOperators, kAdministrators};
    for (size_t failing = 0; failing < 2; ++failing) {
        Again();
        AnswerServer();
        AllExist();
        for (size_t good = 0; good < failing; ++good)
            platform().On("ldapmodify");
        platform().On("ldapmodify").Exits(32);
        EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
        EXPECT_EQ(LibraryError(), 32);
        EXPECT_EQ(Changes().size(), failing + 1);
        EXPECT_EQ(Log(), Strings{std::string("add [admin] to [") + groups[failing] +
                                 "] failed, ldap_no_such_object (32)"});
    }
}

class ServerDefaultAddFails : public ServerDefaultAdd {
  protected:
    int AddDefaults() {
        platform().On("slappasswd").Prints("{CRYPT}hash\n").Always();
        platform()
            .On("ldapsearch", "cn=zafoconf,")
            .Prints(Entry("cn=zafoconf,dc=x,dc=example", {}))
            .Always();
        platform()
            .On("ldapsearch", "subschemaSubentry")
            .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n")
            .Always();
        platform()
            .On("ldapsearch", "objectclasses")
            .Prints(
                "dn: cn=Subschema\nobjectclasses: ( 1.2 NAME 'posixAccount' )\n"
                "objectclasses: ( 1.3 NAME 'posixGroup' )\n\n")
            .Always();
        return ZAFOLDAPServerDefaultAdd();
    }
};
ZAFO_FOREIGN_SUITE(ServerDefaultAddFails);

TEST_P(ServerDefaultAddFails, CleanlyAtEveryCallThatFails) {
    FailEveryCall(WhatFails(), [this] { return AddDefaults(); });
}

TEST_P(ServerDefaultAddFails, CleanlyAtListsThatHoldLessThanTheyCount) {
    FailEveryCall({"QLIBCSzListGet"}, [this] { return AddDefaults(); });
}

}  // namespace zafo::foreign::default_accounts_test
