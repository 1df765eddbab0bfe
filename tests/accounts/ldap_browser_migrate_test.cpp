// SPDX-License-Identifier: Apache-2.0
//
// Copying accounts between the local database and a directory: what is copied, what is skipped, and
// what is logged.
#include "tests/accounts/local_database.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

constexpr const char *kCryptHash = "$6$salt$digest";
const std::string kLm(32, 'A');
const std::string kNt(32, 'B');

const std::string kRandomWarning =
    " is not in crypt form. Reset it to random. Please change it as soon as possible.";

class Migration : public WritingTest {
  protected:
    Migration() {
        database_ = {};
        host_.nSchema = ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_POSIX_GROUP;
    }
    ~Migration() override { database_ = {}; }

    void UseSamba() { host_.nSchema |= ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT; }

    // Log lines of the source under test, each without its "FILE:LINE ".
    Texts Said() {
        Texts said;
        for (const std::string &message : log_.Messages()) {
            if (message.starts_with("ldap_browser_migrate.cpp:"))
                said.push_back(message.substr(message.find(' ') + 1));
        }
        return said;
    }
    // The database functions called with a name.
    Texts AskedFor(const std::string &name) {
        Texts functions;
        for (const std::string &call : database_.asked) {
            const size_t blank = call.find(' ');
            if (call.substr(blank + 1) == name) functions.push_back(call.substr(0, blank));
        }
        return functions;
    }
    void Fail(const std::string &function, int code = 0x0B00) {
        database_.failures[function] = code;
    }

    LocalDatabase &database_ = LocalDatabase::Get();
};

// --- Users into the directory -------------------------------------------------

class UserToLDAP : public Migration {
  protected:
    UserToLDAP() {
        database_.users = {{"ann", kCryptHash, 1001, 100, "Ann A.", "/home/ann", "/bin/sh", 0},
                           {"bob", "!", 1002, 100, "", "/home/bob", "/bin/bash", 0}};
        database_.samba = {{"ann", {kLm, kNt}}, {"bob", {"", ""}}};
    }
    int Run() { return ZAFOLDAPBrowserMigrateUserToLDAP(&host_); }
};

TEST_F(UserToLDAP, MakesEveryUserWithTheHashThatItHas) {
    EXPECT_EQ(Run(), 0);
    ASSERT_THAT(Changes(), SizeIs(2));
    EXPECT_THAT(Changes()[0], HasSubstr("dn: uid=ann,cn=users,dc=example,dc=com\n"));
    EXPECT_THAT(Changes()[0], HasSubstr(std::string("userPassword: {CRYPT}") + kCryptHash + "\n"));
    EXPECT_THAT(Changes()[0], HasSubstr("uidNumber: 1001\ngidNumber: 100\n"));
    EXPECT_THAT(Changes()[0], HasSubstr("gecos: Ann A.\n"));
    EXPECT_THAT(Changes()[1], HasSubstr("dn: uid=bob,cn=users,dc=example,dc=com\n"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(UserToLDAP, AsksForLocalAccounts) {
    Run();
    EXPECT_EQ(database_.asked.front(), "ZAFOUserEnum 1");
}

TEST_F(UserToLDAP, ThatCannotBeListedEnds) {
    Fail("ZAFOUserEnum", 0x0900);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(Said(), ElementsAre("ZAFOUserEnum failed, [0x0900]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(UserToLDAP, OneThatCannotBeReadIsSkipped) {
    Fail("ZAFOUserGet", 0x0900);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOUserGet failed. [ann]. [0x0900]",
                                    "ZAFOUserGet failed. [bob]. [0x0900]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(UserToLDAP, WithoutSambasSchemaAddsNoHashes) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(AskedFor("ann"), ElementsAre("ZAFOUserGet"));
    for (const std::string &change : Changes())
        EXPECT_THAT(change, Not(HasSubstr("samba")));
}

TEST_F(UserToLDAP, WithSambasSchemaAddsTheHashes) {
    UseSamba();
    EXPECT_EQ(Run(), 0);
    // Each user is created after taking a Samba identifier from the domain.
    const std::vector<std::string> changes = Changes();
    ASSERT_THAT(changes, SizeIs(4));
    EXPECT_THAT(changes[1],
                HasSubstr("sambaNTPassword: " + kNt + "\nsambaLMPassword: " + kLm + "\n"));
    EXPECT_THAT(changes[3], Not(HasSubstr(kNt)));
    EXPECT_THAT(AskedFor("ann"), ElementsAre("ZAFOUserGet", "QLIBUserSmbPasswdGet"));
}

TEST_F(UserToLDAP, OneWhoseSambaHashesCannotBeReadIsSkipped) {
    UseSamba();
    Fail("QLIBUserSmbPasswdGet", 0x0F00);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(),
                ElementsAre("Get NTLM failed. [ann] [0x0F00]", "Get NTLM failed. [bob] [0x0F00]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(UserToLDAP, OneThatCannotBeMadeIsLoggedAndTheNextFollows) {
    Answer("dn: uid=ann,dc=x\n\n");  // the name is taken
    Answer("");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserUserCreate failed. [ann][0x1234]"));
    EXPECT_THAT(Changes(), SizeIs(1));
    EXPECT_THAT(LastChange(), HasSubstr("uid=bob"));
}

TEST_F(UserToLDAP, ServerThatRefusesEveryoneIsAskedForEveryone) {
    tools_.On("ldapmodify").Exit(50);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), SizeIs(2));
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
}

TEST_F(UserToLDAP, NoUsersIsASuccess) {
    database_.users.clear();
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    ExpectSlotsUntouched();
}

// --- Groups into the directory ------------------------------------------------

class GroupToLDAP : public Migration {
  protected:
    GroupToLDAP() {
        database_.groups = {{"staff", 2001, {"ann", "bob"}, "all of us"}, {"nobody", 2002, {}, ""}};
    }
    int Run() { return ZAFOLDAPBrowserMigrateGroupToLDAP(&host_); }
};

TEST_F(GroupToLDAP, MakesEveryGroupWithMembersAndDescription) {
    EXPECT_EQ(Run(), 0);
    ASSERT_THAT(Changes(), SizeIs(2));
    EXPECT_THAT(Changes()[0], HasSubstr("dn: cn=staff,cn=groups,dc=example,dc=com\n"));
    EXPECT_THAT(Changes()[0], HasSubstr("gidNumber: 2001\n"));
    EXPECT_THAT(Changes()[0], HasSubstr("description: all of us\n"));
    EXPECT_THAT(Changes()[0], HasSubstr("memberUid: ann\nmemberUid: bob\n"));
    EXPECT_THAT(Changes()[1], Not(HasSubstr("memberUid")));
    EXPECT_EQ(database_.asked.front(), "ZAFOGroupEnum 1");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(GroupToLDAP, ThatCannotBeListedEnds) {
    Fail("ZAFOGroupEnum", 0x0900);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(Said(), ElementsAre("ZAFOGroupEnum failed, [0x0900]"));
}

TEST_F(GroupToLDAP, OneThatCannotBeReadIsSkipped) {
    Fail("ZAFOGroupGet", 0x0A00);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOGroupGet failed. [staff]. [0x0A00]",
                                    "ZAFOGroupGet failed. [nobody]. [0x0A00]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

// The buffer still holds the previous group's description.
TEST_F(GroupToLDAP, DescriptionThatCannotBeReadIsEmpty) {
    database_.groups[1].description = std::nullopt;
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), ElementsAre("Get group nobody description failed.[0x0F00]"));
    ASSERT_THAT(Changes(), SizeIs(2));
    EXPECT_THAT(Changes()[1], Not(HasSubstr("description: all")));
}

TEST_F(GroupToLDAP, DescriptionOfOneGroupIsNotUsedForTheNext) {
    database_.undescribed = "nobody";
    EXPECT_EQ(Run(), 0);
    ASSERT_THAT(Changes(), SizeIs(2));
    EXPECT_THAT(Changes()[1], Not(HasSubstr("description")));
}

TEST_F(GroupToLDAP, DescriptionMayBeLong) {
    database_.groups[0].description = std::string(5000, 'd');
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Changes()[0], HasSubstr("description: " + std::string(5000, 'd') + "\n"));
}

TEST_F(GroupToLDAP, OneThatCannotBeMadeIsLoggedAndTheNextFollows) {
    tools_.On("ldapmodify").Exit(68);
    tools_.On("ldapmodify").Exit(0);
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserGroupCreate failed. [staff][0x1234]"));
    EXPECT_THAT(Changes(), SizeIs(2));
}

// --- Users into the local database --------------------------------------------

std::string UserEntry(const std::string &name, unsigned uid, const std::string &more = "") {
    return "dn: uid=" + name + ",dc=x\nobjectClass: posixAccount\nuid: " + name +
           "\nuidNumber: " + std::to_string(uid) + "\ngidNumber: 100\n" + more + "\n";
}

std::string WithPassword(const std::string &stored) {
    return "userPassword: " + stored + "\n";
}

class UserToLocal : public Migration {
  protected:
    UserToLocal() { host_.szLoginSuffix = "example.com"; }

    // Copies users with these entries.
    int Run(const Texts &entries) {
        std::string list;
        for (size_t i = 0; i < entries.size(); ++i)
            list += "dn: uid=u" + std::to_string(i) + ",dc=x\nuid: u\n\n";
        Answer(list);
        for (const std::string &entry : entries)
            Answer(entry);
        return ZAFOLDAPBrowserMigrateUserToLocal(&host_);
    }
    int RunOne(const std::string &more = "") { return Run({UserEntry("ann", 1001, more)}); }
};

TEST_F(UserToLocal, MakesTheUserAsTheEntrySays) {
    EXPECT_EQ(RunOne(WithPassword("{crypt}$6$s$d") +
                     "gecos: Ann A.\nhomeDirectory: /home/ann\nloginShell: /bin/sh\n"
                     "shadowExpire: 20000\n"),
              0);
    EXPECT_THAT(database_.stored_users, ElementsAre(LocalUser{"ann", "$6$s$d", 1001, 100, "Ann A.",
                                                              "/home/ann", "/bin/sh", 20000}));
    EXPECT_THAT(database_.imported, ElementsAre(ImportedPassword{"ann", "$6$s$d", "", ""}));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(UserToLocal, CryptHashIsKeptInAnyLetterCase) {
    for (const std::string scheme : {"{crypt}", "{CRYPT}", "{CrYpT}"}) {
        database_ = {};
        log_.Clear();
        EXPECT_EQ(RunOne(WithPassword(scheme + "$1$ab$x")), 0);
        EXPECT_THAT(database_.imported, ElementsAre(ImportedPassword{"ann", "$1$ab$x", "", ""}));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(UserToLocal, AnyOtherPasswordBecomesARandomOne) {
    tools_.On("slappasswd").Output("{CRYPT}$1$xy$random\n");
    for (const std::string &more :
         {WithPassword("{SSHA}abc"), WithPassword("clear"), WithPassword("{crypt"),
          WithPassword("crypt}x"), std::string()}) {
        database_ = {};
        log_.Clear();
        EXPECT_EQ(RunOne(more), 0);
        EXPECT_THAT(Said(), ElementsAre("Password for user ann" + kRandomWarning)) << more;
        ASSERT_THAT(database_.stored_users, SizeIs(1));
        EXPECT_EQ(database_.stored_users[0].password, "{CRYPT}$1$xy$random");
        EXPECT_THAT(database_.imported, IsEmpty());
    }
}

TEST_F(UserToLocal, RandomPasswordIsANumberAndTheTime) {
    const time_t start = time(nullptr);
    EXPECT_EQ(Run({UserEntry("ann", 1001), UserEntry("bob", 1002)}), 0);
    std::set<std::string> passwords;
    for (const rig::FakeCall &call : tools_.Calls()) {
        if (call.tool != "slappasswd") continue;
        const std::string password = call.argv.at(4);
        EXPECT_THAT(password, MatchesRegex("[0-9]+-[0-9]+"));
        EXPECT_GE(std::stol(password.substr(password.find('-') + 1)), start);
        passwords.insert(password);
    }
    EXPECT_THAT(passwords, SizeIs(2));
}

// The clear text must not be stored as a hash.
TEST_F(UserToLocal, RandomPasswordThatCannotBeHashedBecomesNoPassword) {
    tools_.On("slappasswd").Exit(1);
    EXPECT_EQ(RunOne(), 0);
    ASSERT_THAT(database_.stored_users, SizeIs(1));
    EXPECT_EQ(database_.stored_users[0].password, "(null)");
}

TEST_F(UserToLocal, ThatCannotBeListedEnds) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(&host_), -1);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserUserEnumAll failed, [0x1234]"));
}

TEST_F(UserToLocal, OneThatCannotBeReadIsSkipped) {
    EXPECT_EQ(Run({"", UserEntry("bob", 1002, WithPassword("{crypt}x"))}), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserUserGet failed. [uid=u0,dc=x]. [0x1234]"));
    EXPECT_THAT(database_.stored_users, SizeIs(1));
}

TEST_F(UserToLocal, NameThatIsTakenIsSkipped) {
    database_.users = {{"ann", "", 5, 5, "", "", "", 0}};
    EXPECT_EQ(Run({UserEntry("ann", 1001, WithPassword("{crypt}x")),
                   UserEntry("bob", 1002, WithPassword("{crypt}x"))}),
              0);
    EXPECT_THAT(Said(), ElementsAre("user name [ann] is occupied in local DB."));
    EXPECT_THAT(AskedFor("1001"), IsEmpty());
    EXPECT_THAT(database_.stored_users, SizeIs(1));
}

TEST_F(UserToLocal, NumberThatIsTakenIsSkipped) {
    database_.users = {{"eve", "", 4000000000, 5, "", "", "", 0}};
    EXPECT_EQ(Run({UserEntry("ann", 4000000000, WithPassword("{crypt}x"))}), 0);
    EXPECT_THAT(Said(), ElementsAre("user uid [4000000000] is occupied by [eve] in local DB."));
    EXPECT_THAT(database_.stored_users, IsEmpty());
}

// The result of a look-up is freed before the next one overwrites it.
TEST_F(UserToLocal, SeveralThatAreTakenAreAllSkipped) {
    database_.users = {{"ann", "", 5, 5, "", "", "", 0}, {"eve", "", 1002, 5, "", "", "", 0}};
    EXPECT_EQ(Run({UserEntry("ann", 1001, WithPassword("{crypt}x")),
                   UserEntry("bob", 1002, WithPassword("{crypt}x")),
                   UserEntry("eve", 1003, WithPassword("{crypt}x"))}),
              0);
    EXPECT_THAT(Said(), ElementsAre("user name [ann] is occupied in local DB.",
                                    "user uid [1002] is occupied by [eve] in local DB.",
                                    "user name [eve] is occupied in local DB."));
    EXPECT_THAT(database_.stored_users, IsEmpty());
}

TEST_F(UserToLocal, PasswordIsLoggedBeforeTheName) {
    database_.users = {{"ann", "", 5, 5, "", "", "", 0}};
    EXPECT_EQ(RunOne(), 0);
    EXPECT_THAT(Said(), ElementsAre("Password for user ann" + kRandomWarning,
                                    "user name [ann] is occupied in local DB."));
}

TEST_F(UserToLocal, LookUpThatFailsIsSkipped) {
    const std::map<std::string, std::string> kLines = {
        {"ZAFOUserGetLocal", "ZAFOUserGetLocal failed. [ann] [0x0A00]"},
        {"ZAFOUserGetLocalByUID", "ZAFOUserGetLocalByUID failed. [1001] [0x0A00]"}};
    for (const auto &[function, line] : kLines) {
        database_ = {};
        log_.Clear();
        Fail(function, 0x0A00);
        EXPECT_EQ(RunOne(WithPassword("{crypt}x")), 0);
        EXPECT_THAT(Said(), ElementsAre(line));
        EXPECT_THAT(database_.stored_users, IsEmpty());
    }
}

// The error of a group look-up says nothing about a user.
TEST_F(UserToLocal, OnlyTheNotFoundCodeOfUsersCountsAsNotFound) {
    Fail("ZAFOUserGetLocal", 0x1800);
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOUserGetLocal failed. [ann] [0x1800]"));
}

TEST_F(UserToLocal, LimitInTheMiddleEndsAndKeepsTheUsersBefore) {
    database_.room = 1;
    EXPECT_EQ(Run({UserEntry("ann", 1001, WithPassword("{crypt}x")),
                   UserEntry("bob", 1002, WithPassword("{crypt}x")),
                   UserEntry("eve", 1003, WithPassword("{crypt}x"))}),
              -1);
    EXPECT_THAT(Said(), ElementsAre("The limit of local account has been reached."));
    ASSERT_THAT(database_.stored_users, SizeIs(1));
    EXPECT_EQ(database_.stored_users[0].name, "ann");
    EXPECT_THAT(AskedFor("eve"), IsEmpty());
}

TEST_F(UserToLocal, LimitThatCannotBeReadEnds) {
    Fail("QLIBUserNumRemained", 0x0900);
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), -1);
    EXPECT_THAT(Said(), ElementsAre("QLIBUserNumRemained failed. [-1]. [0x0900]"));
}

TEST_F(UserToLocal, TakenNameDoesNotCountAgainstTheLimit) {
    database_.room = 0;
    database_.users = {{"ann", "", 5, 5, "", "", "", 0}};
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), 0);
}

TEST_F(UserToLocal, OneThatCannotBeMadeIsSkipped) {
    Fail("ZAFOUserSetOne");
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOUserSet failed. [ann] [0x0B00]"));
    EXPECT_THAT(database_.imported, IsEmpty());
}

TEST_F(UserToLocal, WithSambasSchemaImportsTheHashes) {
    UseSamba();
    EXPECT_EQ(RunOne(WithPassword("{crypt}x") + "sambaNTPassword: " + kNt +
                     "\nsambaLMPassword: " + kLm + "\n"),
              0);
    EXPECT_THAT(database_.imported, ElementsAre(ImportedPassword{"ann", "x", kLm, kNt}));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(UserToLocal, HashesThatAreMissingAreEmpty) {
    UseSamba();
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), 0);
    EXPECT_THAT(database_.imported, ElementsAre(ImportedPassword{"ann", "x", "", ""}));
    EXPECT_THAT(Said(), ElementsAre("get NT Hash failed. [ann] ", "get LM Hash failed. [ann] "));
}

TEST_F(UserToLocal, WithoutSambasSchemaImportsEmptyHashes) {
    EXPECT_EQ(RunOne(WithPassword("{crypt}x") + "sambaNTPassword: " + kNt + "\n"), 0);
    EXPECT_THAT(database_.imported, ElementsAre(ImportedPassword{"ann", "x", "", ""}));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(UserToLocal, ImportThatFailsIsLoggedAndTheNextFollows) {
    Fail("QLIBUserImportPasswd");
    EXPECT_EQ(Run({UserEntry("ann", 1001, WithPassword("{crypt}x")),
                   UserEntry("bob", 1002, WithPassword("{crypt}x"))}),
              0);
    EXPECT_THAT(Said(), ElementsAre("QLIBUserImportPasswd failed. [ann] [0x0B00]",
                                    "QLIBUserImportPasswd failed. [bob] [0x0B00]"));
    EXPECT_THAT(database_.stored_users, SizeIs(2));
}

TEST_F(UserToLocal, WithoutRoomForTheResultEnds) {
    Fail("QLIBCMResultAlloc", 0x0200);
    EXPECT_EQ(RunOne(WithPassword("{crypt}x")), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0200);
    EXPECT_THAT(database_.stored_users, IsEmpty());
}

// --- Groups into the local database -------------------------------------------

class GroupToLocal : public Migration {
  protected:
    GroupToLocal() { host_.szLoginSuffix = "example.com"; }

    static std::string GroupEntry(const std::string &name, unsigned gid,
                                  const std::string &more = "") {
        return "dn: cn=" + name + ",dc=x\nobjectClass: posixGroup\ncn: " + name +
               "\ngidNumber: " + std::to_string(gid) + "\n" + more + "\n";
    }
    int Run(const Texts &entries) {
        std::string list;
        for (size_t i = 0; i < entries.size(); ++i)
            list += "dn: cn=g" + std::to_string(i) + ",dc=x\ncn: g\n\n";
        Answer(list);
        for (const std::string &entry : entries)
            Answer(entry);
        return ZAFOLDAPBrowserMigrateGroupToLocal(&host_);
    }
    int RunOne() { return Run({GroupEntry("staff", 2001)}); }
};

TEST_F(GroupToLocal, MakesTheGroupWithItsMembers) {
    EXPECT_EQ(Run({GroupEntry("staff", 2001,
                              "memberUid: ann\nmemberUid: bob\n"
                              "description: not carried over\n"),
                   GroupEntry("crew", 2002)}),
              0);
    EXPECT_THAT(database_.stored_groups, ElementsAre(LocalGroup{"staff", 2001, {"ann", "bob"}, ""},
                                                     LocalGroup{"crew", 2002, {}, ""}));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(GroupToLocal, LongDescriptionIsNotAProblem) {
    EXPECT_EQ(Run({GroupEntry("staff", 2001, "description: " + std::string(5000, 'x') + "\n")}), 0);
    EXPECT_THAT(database_.stored_groups, SizeIs(1));
}

TEST_F(GroupToLocal, ThatCannotBeListedEnds) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(&host_), -1);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserGroupEnumAll failed, [0x1234]"));
}

TEST_F(GroupToLocal, OneThatCannotBeReadIsSkipped) {
    EXPECT_EQ(Run({"", GroupEntry("crew", 2002)}), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOLDAPBrowserGroupGet failed. [cn=g0,dc=x]. [0x1234]"));
    EXPECT_THAT(database_.stored_groups, SizeIs(1));
}

TEST_F(GroupToLocal, NameThatIsTakenIsSkipped) {
    database_.groups = {{"staff", 5, {}, ""}};
    EXPECT_EQ(RunOne(), 0);
    EXPECT_THAT(Said(), ElementsAre("group name [staff] is occupied in local DB."));
    EXPECT_THAT(database_.stored_groups, IsEmpty());
}

TEST_F(GroupToLocal, NumberThatIsTakenIsSkipped) {
    database_.groups = {{"crew", 2001, {}, ""}};
    EXPECT_EQ(RunOne(), 0);
    EXPECT_THAT(Said(), ElementsAre("group gid [2001] is occupied by [crew] in local DB."));
    EXPECT_THAT(database_.stored_groups, IsEmpty());
}

TEST_F(GroupToLocal, SeveralThatAreTakenAreAllSkipped) {
    database_.groups = {{"staff", 5, {}, ""}, {"crew", 2002, {}, ""}};
    EXPECT_EQ(Run({GroupEntry("staff", 2001), GroupEntry("bobs", 2002)}), 0);
    EXPECT_THAT(Said(), ElementsAre("group name [staff] is occupied in local DB.",
                                    "group gid [2002] is occupied by [crew] in local DB."));
    EXPECT_THAT(database_.stored_groups, IsEmpty());
}

TEST_F(GroupToLocal, LookUpThatFailsIsSkipped) {
    const std::map<std::string, std::string> kLines = {
        {"ZAFOGroupGetLocal", "ZAFOGroupGetLocal failed. [staff] [0x1D00]"},
        {"ZAFOGroupGetLocalByGID", "ZAFOGroupGetLocalByGID failed. [2001] [0x1D00]"}};
    for (const auto &[function, line] : kLines) {
        database_ = {};
        log_.Clear();
        Fail(function, 0x1D00);  // the not-found code of users, not of groups
        EXPECT_EQ(RunOne(), 0);
        EXPECT_THAT(Said(), ElementsAre(line));
        EXPECT_THAT(database_.stored_groups, IsEmpty());
    }
}

TEST_F(GroupToLocal, OneThatCannotBeMadeIsLoggedAndTheNextFollows) {
    Fail("ZAFOGroupSet");
    EXPECT_EQ(Run({GroupEntry("staff", 2001), GroupEntry("crew", 2002)}), 0);
    EXPECT_THAT(Said(), ElementsAre("ZAFOGroupSet failed. [staff] [0x0B00]",
                                    "ZAFOGroupSet failed. [crew] [0x0B00]"));
}

TEST_F(GroupToLocal, LimitOfAccountsIsNotAskedFor) {
    database_.room = 0;
    EXPECT_EQ(RunOne(), 0);
    EXPECT_THAT(database_.stored_groups, SizeIs(1));
    EXPECT_THAT(AskedFor(""), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test
