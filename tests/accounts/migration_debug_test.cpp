// SPDX-License-Identifier: Apache-2.0
//
// What copying accounts logs only while the debug switch is on.
#include <filesystem>

#include "tests/accounts/local_database.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test {
namespace {

class DebugMigration : public WritingTest {
  protected:
    DebugMigration() {
        EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1);
        LocalDatabase::Get() = {};
        host_.szLoginSuffix = "example.com";
        host_.nSchema = ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_POSIX_GROUP;
    }
    // Change files are kept in debug mode.
    ~DebugMigration() override {
        LocalDatabase::Get() = {};
        for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
            if (entry.path().extension() == ".ldif") std::filesystem::remove(entry.path());
        }
    }
    Texts Said() {
        Texts said;
        for (const std::string &message : log_.Messages()) {
            if (message.starts_with("ldap_browser_migrate.cpp:"))
                said.push_back(message.substr(message.find(' ') + 1));
        }
        return said;
    }
};

TEST_F(DebugMigration, UsersToTheDirectorySucceedAlsoAfterAFailedCreation) {
    LocalDatabase::Get().users = {{"ann", "x", 1001, 100, "", "", "", 0},
                                  {"bob", "x", 1002, 100, "", "", "", 0}};
    tools_.On("ldapmodify").Exit(0);
    tools_.On("ldapmodify").Exit(50);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(&host_), 0);
    EXPECT_THAT(Said(), ElementsAre("2 users to be added.", "Try to add user 0: ann",
                                    "Create ann successfully.", "Try to add user 1: bob",
                                    "ZAFOLDAPBrowserUserCreate failed. [bob][0x1234]",
                                    "Create bob successfully."));
}

TEST_F(DebugMigration, UserThatIsSkippedDoesNotSucceed) {
    LocalDatabase::Get().users = {{"ann", "x", 1001, 100, "", "", "", 0}};
    LocalDatabase::Get().failures["ZAFOUserGet"] = 0x0900;
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(&host_), 0);
    EXPECT_THAT(Said(), ElementsAre("1 users to be added.", "Try to add user 0: ann",
                                    "ZAFOUserGet failed. [ann]. [0x0900]"));
}

TEST_F(DebugMigration, GroupsToTheDirectorySucceedAlsoAfterAFailedCreation) {
    LocalDatabase::Get().groups = {{"staff", 2001, {}, ""}};
    tools_.On("ldapmodify").Exit(50);
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLDAP(&host_), 0);
    EXPECT_THAT(Said(), ElementsAre("1 groups to be added.", "Try to add group 0: staff",
                                    "ZAFOLDAPBrowserGroupCreate failed. [staff][0x1234]",
                                    "Create staff successfully."));
}

TEST_F(DebugMigration, UsersToTheLocalDatabaseAreNamedByTheirDNs) {
    LocalDatabase::Get().users = {{"bob", "x", 5, 100, "", "", "", 0}};
    Answer("dn: uid=ann,dc=x\nuid: ann\n\ndn: uid=bob,dc=x\nuid: bob\n\n");
    Answer("dn: uid=ann,dc=x\nuid: ann\nuidNumber: 1\nuserPassword: {crypt}x\n\n");
    Answer("dn: uid=bob,dc=x\nuid: bob\nuidNumber: 2\nuserPassword: {crypt}x\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(&host_), 0);
    EXPECT_THAT(Said(),
                ElementsAre("2 users to be added.", "Try to add user 0: uid=ann,dc=x",
                            "Create uid=ann,dc=x successfully.", "Try to add user 1: uid=bob,dc=x",
                            "user name [bob] is occupied in local DB."));
}

TEST_F(DebugMigration, GroupsToTheLocalDatabaseFailWithoutTheLineOfSuccess) {
    LocalDatabase::Get().failures["ZAFOGroupSet"] = 0x0B00;
    Answer("dn: cn=staff,dc=x\ncn: staff\n\n");
    Answer("dn: cn=staff,dc=x\ncn: staff\ngidNumber: 7\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(&host_), 0);
    EXPECT_THAT(Said(), ElementsAre("1 groups to be added.", "Try to add group 0: cn=staff,dc=x",
                                    "ZAFOGroupSet failed. [staff] [0x0B00]"));
}

TEST_F(DebugMigration, ZeroUsersAreCounted) {
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLDAP(&host_), 0);
    EXPECT_THAT(Said(), ElementsAre("0 users to be added."));
}

}  // namespace
}  // namespace zafo::accounts_test
