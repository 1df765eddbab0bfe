// SPDX-License-Identifier: Apache-2.0
//
// Enabling the server, from its configuration to its default accounts.
#include <filesystem>

#include "tests/server/default_accounts.h"
#include "tests/server/settling.h"
#include "tests/server/skeleton.h"

namespace zafo::server_test {
namespace {

namespace fs = std::filesystem;

class Enable : public ServiceTest {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        Write(kTemplate, "database mdb\nsuffix none\nrootdn none\nrootpw none\n");
        Script();
    }
    // A server without a database, and its answers once it is running.
    void Script(const std::set<size_t> &existing = {}) {
        Prepare(kDefaultSteps);
        for (size_t i = 0; i < kSkeleton.size(); ++i)
            tools_.On("slapcat").Output(existing.contains(i) ? Found(kSkeleton[i]) : "");
        tools_.On("openssl").Output("0000002a\n");
    }
    int WithRecord() { return ZAFOLDAPServerEnable(&parms_); }
    // Expects that the running server was stopped, these tools ran, and it was not started again.
    void ExpectGivenUp(const Texts &tools, const Texts &logged) {
        EXPECT_EQ(WithRecord(), -1);
        EXPECT_EQ(LoggedTexts(), logged);
        EXPECT_EQ(Tools(), tools);
        EXPECT_EQ(Pid(), 0);
    }
};

TEST_F(Enable, RunsEverythingInThisOrder) {
    EXPECT_EQ(QLIBServiceStart("ldap-server", 0), 0);
    Script();
    EXPECT_EQ(WithRecord(), 0);
    Texts expected = {"server-stopped", HashCommand("secret")};
    for (const std::string &command : CreationCommands())
        expected.push_back(command);
    expected.emplace_back("start-server");
    Texts commands = Commands();
    ASSERT_GT(commands.size(), expected.size());
    const auto accounts = commands.begin() + static_cast<long>(expected.size());
    EXPECT_THAT(Texts(accounts, commands.end()), SizeIs(kDefaultSteps.size()));
    commands.erase(accounts, commands.end());
    EXPECT_EQ(commands, expected);
    EXPECT_GT(Pid(), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre(kNoHomes));
}

TEST_F(Enable, WritesTheConfigurationTheConnectionAndTheRules) {
    EXPECT_EQ(WithRecord(), 0);
    EXPECT_EQ(ContentOf(kConf),
              "database mdb\nsuffix dc=example,dc=com\nrootdn cn=admin,dc=example,dc=com\nrootpw " +
                  kHash + "\n");
    EXPECT_EQ(ContentOf(kRules), GoldenFile("access_rules.conf"));
    ZAFOLDAP_HOST saved{};
    tools_.Reset();
    ZAFOLDAPHostInitByBrowserConfig(&saved, nullptr);
    EXPECT_THAT(
        core_test::FieldsOf(saved),
        ElementsAre("localhost", kBase, "cn=admin,dc=example,dc=com", "secret", "example.com"));
    ZAFOLDAPHostFree(&saved);
}

TEST_F(Enable, PoolIsTheSameWhateverTheRecordSays) {
    EXPECT_EQ(WithRecord(), 0);
    const std::pair<size_t, std::string> kPools[] = {
        {4, "uidNumber: 1000000\ngidNumber: 1000000\n"},
        {5, "uidNumber: 2097151\ngidNumber: 2097151\n"},
        {6, "uidNumber: 1000001\ngidNumber: 1000003\n"},
        {7, "uidNumber: 10000\ngidNumber: 10000\n"},
    };
    for (const auto &[entry, numbers] : kPools)
        EXPECT_THAT(Changes().at(entry), HasSubstr(numbers));
    EXPECT_EQ(parms_.nMinUid, 11u) << "the caller's record stays as it is";
}

TEST_F(Enable, SecondTimeAddsNothingToTheDatabase) {
    const std::set<size_t> everything = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    Script(everything);
    EXPECT_EQ(WithRecord(), 0);
    EXPECT_THAT(Tools(), testing::Not(Contains("slapadd")));
    EXPECT_THAT(Tools(), Contains("slapindex"));
}

TEST_F(Enable, AccountsAreAddedOnceTheServerHasSettled) {
    const unsigned before = SecondsSlept();
    EXPECT_EQ(WithRecord(), 0);
    EXPECT_EQ(SecondsSlept() - before, 2u) << "one start, not one for each entry";
}

TEST_F(Enable, WithoutARecordOnlyRestarts) {
    StartBefore();
    const pid_t pid = Pid();
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_THAT(Tools(), ElementsAre("server-stopped", "start-server"));
    EXPECT_GT(Pid(), 0);
    EXPECT_NE(Pid(), pid);
    for (const char *path : {kConf, kRules, kSavedConnections})
        EXPECT_FALSE(fs::exists(path)) << path;
}

TEST_F(Enable, WithoutARecordStartsAServerThatDoesNotRun) {
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_EQ(Tools().front(), "start-server");
    EXPECT_GT(Pid(), 0);
}

TEST_F(Enable, ServerThatCannotBeStoppedIsNotAnObstacle) {
    Describe({.process = "trap '' TERM; sleep 1000", .settings = "stop_seconds=1\n"});
    StartBefore();
    const pid_t pid = Pid();
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_EQ(Pid(), pid);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

// Steps that fail -----------------------------------------------------------------------------

TEST_F(Enable, NeedsTheTemplate) {
    StartBefore();
    tools_.On("slappasswd").Output(kHash + "\n");
    fs::remove(kTemplate);
    ExpectGivenUp({"server-stopped", "slappasswd"}, {});
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_FALSE(fs::exists(kSavedConnections));
}

TEST_F(Enable, NeedsThePasswordsHash) {
    StartBefore();
    tools_.On("slappasswd").Exit(1);
    ExpectGivenUp({"server-stopped", "slappasswd"},
                  {"Failed to read from popen (Success)", "Encrypt password failed! [0x1234]"});
    EXPECT_FALSE(fs::exists(kConf));
}

TEST_F(Enable, NeedsToSaveTheConnection) {
    fs::create_directories(std::string(kSavedConnections) + "/full");
    EXPECT_EQ(WithRecord(), -1);
    EXPECT_THAT(Tools(), ElementsAre("slappasswd"));
    EXPECT_THAT(LoggedTexts(), SizeIs(1));
    EXPECT_THAT(LoggedTexts().at(0), testing::StartsWith("save borwser conf [root] failed! "));
    EXPECT_TRUE(fs::exists(kConf));
    EXPECT_FALSE(fs::exists(kRules));
}

TEST_F(Enable, NeedsTheAccessRules) {
    fs::create_directories(std::string(kRules) + "/full");
    EXPECT_EQ(WithRecord(), -1);
    EXPECT_THAT(Tools(), ElementsAre("slappasswd"));
    ASSERT_THAT(LoggedTexts(), SizeIs(2));
    EXPECT_EQ(LoggedTexts().at(1), "generate acl conf failed.");
    EXPECT_TRUE(fs::exists(kSavedConnections));
    for (const std::string &name : FilesLike(std::string(kRules) + "."))
        fs::remove("/usr/zafo/etc/openldap/" + name);
}

TEST_F(Enable, NeedsTheDatabase) {
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    StartBefore();
    tools_.On("slappasswd").Output(kHash + "\n");
    tools_.On("slapadd").Exit(0);
    tools_.On("slapadd").Exit(1);
    ExpectGivenUp(
        {"server-stopped", "slappasswd", "slapcat", "slapadd", "slapcat", "slapadd"},
        {"slapadd return 1", "ZAFOLDAPServerSlapadd [cn=users,dc=example,dc=com] failed. [0x1234]",
         "db create failed[0x1234]"});
    EXPECT_EQ(ZAFOLDAPErrGet(), 1);
    EXPECT_TRUE(fs::exists(kConf));
    EXPECT_TRUE(fs::exists(kRules));
}

TEST_F(Enable, NeedsTheServersStart) {
    tools_.On("start-server").Exit(1);
    for (const ZAFOLDAP_SERVER_PARAM *parms :
         {static_cast<const ZAFOLDAP_SERVER_PARAM *>(nullptr),
          static_cast<const ZAFOLDAP_SERVER_PARAM *>(&parms_)}) {
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPServerEnable(parms), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("Start LDAP server failed. [0xD100]"));
        EXPECT_EQ(Tools().back(), "start-server");
        EXPECT_EQ(Pid(), 0);
    }
}

TEST_F(Enable, ServiceThatIsNotEnabledIsConfiguredAndNotStarted) {
    EXPECT_EQ(QLIBServiceDisable("ldap-server"), 0);
    EXPECT_EQ(WithRecord(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Start LDAP server failed. [0xD100]"));
    EXPECT_TRUE(fs::exists(kConf));
    EXPECT_EQ(Tools().back(), "slapindex");
}

TEST_F(Enable, NeedsTheDefaultAccounts) {
    Prepare(kDefaultSteps, 5, 50);
    tools_.On("openssl").Output("0000002a\n");
    EXPECT_EQ(WithRecord(), -1);
    EXPECT_EQ(LoggedTexts().back(),
              "create default group [users] failed, ldap_insufficient_access (50)");
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
    EXPECT_GT(Pid(), 0) << "the server runs";
}

}  // namespace
}  // namespace zafo::server_test
