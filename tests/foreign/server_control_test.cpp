// SPDX-License-Identifier: Apache-2.0
//
// The service "ldap-server": starting, stopping, checking, resetting and enabling it.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/foreign/server.h"
#include "zafoldap/server.h"

namespace zafo::foreign::server_control_test {

// --- Whether it runs ----------------------------------------------------------

class ServerIsStarted : public ServerTest {};
ZAFO_FOREIGN_SUITE(ServerIsStarted);

TEST_P(ServerIsStarted, GivesTheProcessOfAnEnabledService) {
    RunServer();
    int pid = 17;
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid), 1);
    EXPECT_EQ(pid, 4242);
    ASSERT_EQ(platform().CallsOf("QLIBServiceIsEnabled").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBServiceIsEnabled").at(0).arguments, Strings{kService});
    ASSERT_EQ(platform().CallsOf("QLIBCReadPidFile").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBCReadPidFile").at(0).arguments, Strings{kPidFile});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerIsStarted, NeedsNoPlaceForTheProcess) {
    RunServer();
    EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 1);
}

TEST_P(ServerIsStarted, IsZeroForAServiceThatIsNotEnabled) {
    RunServer();
    platform().enabled_services[kService] = false;
    int pid = 17;
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid), 0);
    EXPECT_EQ(pid, 17);
    EXPECT_TRUE(platform().CallsOf("QLIBCReadPidFile").empty());
}

TEST_P(ServerIsStarted, TakesEveryAnswerButZeroForEnabled) {
    RunServer();
    for (int answer : {1, 2, 256, -1}) {
        platform().Returns("QLIBServiceIsEnabled", answer);
        EXPECT_EQ(ZAFOLDAPServerIsStarted(nullptr), 1) << answer;
    }
}

TEST_P(ServerIsStarted, IsZeroWithoutAProcess) {
    for (pid_t process : {0, -1, -4242}) {
        platform().pid_files[kPidFile] = process;
        int pid = 17;
        EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid), 0) << process;
        EXPECT_EQ(pid, 17);
    }
}

TEST_P(ServerIsStarted, TakesTheFirstProcess) {
    platform().pid_files[kPidFile] = 1;
    int pid = 17;
    EXPECT_EQ(ZAFOLDAPServerIsStarted(&pid), 1);
    EXPECT_EQ(pid, 1);
}

// --- Starting -----------------------------------------------------------------

class ServerStart : public ServerTest {};
ZAFO_FOREIGN_SUITE(ServerStart);

TEST_P(ServerStart, StartsTheServiceAndChecksTwoSecondsLater) {
    EXPECT_EQ(ZAFOLDAPServerStart(), 0);
    ASSERT_EQ(platform().CallsOf("QLIBServiceStart").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBServiceStart").at(0).arguments, (Strings{kService, "0x0"}));
    EXPECT_EQ(SleptMilliseconds(), 2000);
    EXPECT_EQ(platform().Order({"QLIBServiceStart", "QLIBServiceIsEnabled", "QLIBCReadPidFile"}),
              (Strings{"QLIBServiceStart", "QLIBServiceIsEnabled", "QLIBCReadPidFile"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerStart, TakesEveryResultThatIsNotNegative) {
    for (int result : {0, 1, 7, 4711}) {
        platform().Returns("QLIBServiceStart", result);
        EXPECT_EQ(ZAFOLDAPServerStart(), 0) << result;
    }
}

TEST_P(ServerStart, FailsWithTheService) {
    for (int result : {-1, -2}) {
        Stale();
        platform().Fail("QLIBServiceStart", 1, result, 0xD100);
        EXPECT_EQ(ZAFOLDAPServerStart(), -1);
        EXPECT_EQ(PlatformError(), 0xD100);
    }
    EXPECT_EQ(SleptMilliseconds(), 0);
    EXPECT_TRUE(platform().CallsOf("QLIBServiceIsEnabled").empty());
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(ServerStart, FailsWhenTheServiceHasEndedMeanwhile) {
    platform().Fail("QLIBCReadPidFile", 1, 0);
    EXPECT_EQ(ZAFOLDAPServerStart(), -1);
    EXPECT_EQ(Log(), Strings{"Start slapd service failed"});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(ServerStart, FailsForAServiceThatIsNotEnabled) {
    platform().enabled_services[kService] = false;
    EXPECT_EQ(ZAFOLDAPServerStart(), -1);
    EXPECT_EQ(platform().CallsOf("QLIBServiceStart").size(), 1u);
    EXPECT_EQ(Log(), Strings{"Start slapd service failed"});
}

// --- Stopping -----------------------------------------------------------------

class ServerStop : public ServerTest {};
ZAFO_FOREIGN_SUITE(ServerStop);

TEST_P(ServerStop, StopsTheServiceAndChecksImmediately) {
    RunServer();
    EXPECT_EQ(ZAFOLDAPServerStop(), 0);
    ASSERT_EQ(platform().CallsOf("QLIBServiceStop").size(), 1u);
    EXPECT_EQ(platform().CallsOf("QLIBServiceStop").at(0).arguments, (Strings{kService, "0x0"}));
    EXPECT_EQ(platform().Order({"QLIBServiceStop", "QLIBServiceIsEnabled"}),
              (Strings{"QLIBServiceStop", "QLIBServiceIsEnabled"}));
    EXPECT_EQ(SleptMilliseconds(), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(ServerStop, TakesEveryResultThatIsNotNegative) {
    for (int result : {0, 1, 7, 4711}) {
        RunServer();
        platform().Returns("QLIBServiceStop", result);
        EXPECT_EQ(ZAFOLDAPServerStop(), 0) << result;
    }
}

TEST_P(ServerStop, FailsWithTheService) {
    RunServer();
    for (int result : {-1, -2}) {
        Stale();
        platform().Fail("QLIBServiceStop", 1, result, 0x0900);
        EXPECT_EQ(ZAFOLDAPServerStop(), -1);
        EXPECT_EQ(PlatformError(), 0xD200);
    }
    EXPECT_TRUE(platform().CallsOf("QLIBCReadPidFile").empty());
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(ServerStop, FailsWhenTheServiceStillRuns) {
    platform().Returns("QLIBCReadPidFile", 4242);
    EXPECT_EQ(ZAFOLDAPServerStop(), -1);
    EXPECT_EQ(Log(), Strings{"Stop slapd service failed"});
    EXPECT_EQ(SleptMilliseconds(), 0);
}

// --- Emptying the database ------------------------------------------------------

class ServerReset : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        WriteFile(kSlapdConf, "suffix x\n");
        WriteFile(kAclConf, "access to *\n");
    }
};
ZAFO_FOREIGN_SUITE(ServerReset);

TEST_P(ServerReset, StopsEmptiesAndRemovesTheConfiguration) {
    RunServer();
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_EQ(Steps(), (Strings{"stop", "rm", "cp"}));
    EXPECT_FALSE(Exists(kSlapdConf));
    EXPECT_FALSE(Exists(kAclConf));
    EXPECT_FALSE(ServerRuns());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerReset, RemovesTheDatabaseWithOnePattern) {
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    ASSERT_EQ(platform().RunsOf("rm").size(), 1u);
    const Run run = platform().RunsOf("rm").at(0);
    EXPECT_EQ(run.path, "/bin/rm");
    EXPECT_EQ(run.how, "QLIBCExec");
    EXPECT_EQ(run.argv, (Strings{"-rf", "/usr/zafo/etc/openldap/data//*"}));
}

TEST_P(ServerReset, CopiesTheDatabasesConfiguration) {
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    ASSERT_EQ(platform().RunsOf("cp").size(), 1u);
    const Run run = platform().RunsOf("cp").at(0);
    EXPECT_EQ(run.path, "/bin/cp");
    EXPECT_EQ(run.how, "QLIBCExec");
    EXPECT_EQ(run.argv, (Strings{"/usr/zafo/etc.defaults/openldap/data/DB_CONFIG",
                                 "/usr/zafo/etc/openldap/data//"}));
}

TEST_P(ServerReset, RemovesNothingWhileTheServerCannotBeStopped) {
    RunServer();
    platform().Fail("QLIBServiceStop", 1, -1, 0xD200);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_EQ(Log(), Strings{"stop server daemon failed."});
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_TRUE(Exists(kSlapdConf));
    EXPECT_TRUE(Exists(kAclConf));
}

TEST_P(ServerReset, EndsWhenTheDatabaseCannotBeRemoved) {
    for (int status : {1, -1, 256, 137}) {
        platform().On("rm").Status(status);
        EXPECT_EQ(ZAFOLDAPServerDBReset(), -1) << status;
        EXPECT_EQ(TakeLog(),
                  Strings{"run cmd [/bin/rm -rf /usr/zafo/etc/openldap/data//*] failed."});
    }
    EXPECT_TRUE(platform().RunsOf("cp").empty());
    EXPECT_TRUE(Exists(kSlapdConf));
}

TEST_P(ServerReset, EndsWhenTheConfigurationCannotBeCopied) {
    for (int status : {1, -1, 256}) {
        platform().On("cp").Status(status);
        EXPECT_EQ(ZAFOLDAPServerDBReset(), -1) << status;
        EXPECT_EQ(TakeLog(),
                  Strings{"run cmd [/bin/cp /usr/zafo/etc.defaults/openldap/data/DB_CONFIG "
                          "/usr/zafo/etc/openldap/data//] failed."});
    }
    EXPECT_TRUE(Exists(kSlapdConf));
    EXPECT_TRUE(Exists(kAclConf));
}

TEST_P(ServerReset, EndsWithoutSlapdConf) {
    unlink(kSlapdConf);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_EQ(Log(), Strings{"remove /usr/zafo/etc/openldap/slapd.conf failed."});
    EXPECT_TRUE(Exists(kAclConf));
}

TEST_P(ServerReset, FailsWithoutAccessRules) {
    unlink(kAclConf);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_EQ(Log(), Strings{"remove /usr/zafo/etc/openldap/slapd-acls.conf failed."});
    EXPECT_FALSE(Exists(kSlapdConf));
}

TEST_P(ServerReset, DoesNotStartTheServerAgain) {
    RunServer();
    platform().On("rm").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
    EXPECT_TRUE(platform().CallsOf("QLIBServiceStart").empty());
}

// --- Enabling -----------------------------------------------------------------------

class ServerEnable : public ServerTest {
  protected:
    ZAFOLDAP_SERVER_PARAM parameters_{kSuffix, "cn=admin,dc=x,dc=example", "secret", 1, 2, 3, 4, 5,
                                      6};

    void AnswerHash() { platform().On("slappasswd").Prints("{CRYPT}hash\n").Always(); }
    void AnswerRandom() { platform().On("openssl").Prints("00000001\n").Always(); }
    // Scripts what a first enabling expects from the tools; the accounts already exist in the
    // directory, so only memberships are written through the server.
    void AnswerEverything() {
        AnswerHash();
        AnswerRandom();
        AnswerConnection({"top", "posixGroup", "posixAccount"});
        platform()
            .On("ldapsearch", "(cn=")
            .Prints(Entry("cn=any,cn=groups,dc=x,dc=example", {}))
            .Always();
        platform()
            .On("ldapsearch", "(uid=admin)")
            .Prints(Entry("uid=admin,cn=users,dc=x,dc=example", {}))
            .Always();
    }
};
ZAFO_FOREIGN_SUITE(ServerEnable);

TEST_P(ServerEnable, OnlyRestartsTheServerWithoutARecord) {
    RunServer();
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_EQ(Steps(), (Strings{"stop", "start"}));
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetSection").empty());
    EXPECT_TRUE(ServerRuns());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerEnable, StartsAServerThatDoesNotStop) {
    RunServer();
    platform().Fail("QLIBServiceStop", 1, -1, 0xD200);
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_EQ(Steps(), (Strings{"stop", "start"}));
}

TEST_P(ServerEnable, SaysWhenTheServerDoesNotStart) {
    platform().Fail("QLIBServiceStart", 1, -1, 0xD100);
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), -1);
    EXPECT_EQ(Log(), Strings{"Start LDAP server failed. [0xD100]"});
}

TEST_P(ServerEnable, ConfiguresFillsStartsAndAddsAccounts) {
    AnswerEverything();
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), 0);
    Strings expected{"stop", "slappasswd", "slapd.conf", "save", "acls"};
    for (int entry = 0; entry < 8; ++entry) {
        expected.push_back("slapcat");
        expected.push_back("slapadd");
    }
    for (const char *step :
         {"slapcat", "openssl", "openssl", "openssl", "slapadd", "slapindex", "start"})
        expected.push_back(step);
    Strings steps = Steps();
    ASSERT_GE(steps.size(), expected.size());
    for (size_t index = expected.size(); index < steps.size(); ++index)
        EXPECT_TRUE(steps[index] == "ldapsearch" || steps[index] == "ldapmodify") << steps[index];
    EXPECT_EQ(steps.back(), "ldapmodify");
    steps.resize(expected.size());
    EXPECT_EQ(steps, expected);
    EXPECT_TRUE(ServerRuns());
}

TEST_P(ServerEnable, WritesConfigurationConnectionAndRules) {
    AnswerEverything();
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), 0);
    ASSERT_EQ(platform().CallsOf("ZAFOLDAPConfSet").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPConfSet").at(0).map,
              (Pairs{{"suffix", kSuffix},
                     {"rootdn", "cn=admin,dc=x,dc=example"},
                     {"rootpw", "{CRYPT}hash"}}));
    const Pairs &saved = platform().sections[kBrowserConf]["root"];
    ASSERT_TRUE(saved.count("uri") && saved.count("basedn") && saved.count("binddn"));
    EXPECT_EQ(saved.at("uri"), "localhost");
    EXPECT_EQ(saved.at("basedn"), kSuffix);
    EXPECT_EQ(saved.at("binddn"), "cn=admin,dc=x,dc=example");
    EXPECT_EQ(saved.at("bindpw"), Platform::Encipher("secret"));
    ASSERT_TRUE(FileText(kAclConf).has_value());
    EXPECT_NE(FileText(kAclConf)->find("cn=Directory Operators,cn=groups,dc=x,dc=example"),
              std::string::npos);
}

TEST_P(ServerEnable, FillsThePoolWithItsOwnNumbers) {
    AnswerEverything();
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), 0);
    const std::vector<Run> runs = platform().RunsOf("slapadd");
    ASSERT_EQ(runs.size(), 9u);
    const char *const pools[][3] = {{"MinID", "1000000", "1000000"},
                                    {"MaxID", "2097151", "2097151"},
                                    {"CurID", "1000001", "1000003"},
                                    {"MaxNum", "10000", "10000"}};
    for (size_t pool = 0; pool < 4; ++pool) {
        const std::string text = runs[4 + pool].change;
        EXPECT_NE(text.find(std::string("cn: ") + pools[pool][0] + "\nuidNumber: " +
                            pools[pool][1] + "\ngidNumber: " + pools[pool][2] + "\n"),
                  std::string::npos)
            << text;
    }
}

TEST_P(ServerEnable, DoesNotChangeTheRecord) {
    AnswerEverything();
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), 0);
    EXPECT_EQ(parameters_.nCurUid, 1u);
    EXPECT_EQ(parameters_.nCurGid, 2u);
    EXPECT_EQ(parameters_.nMaxUid, 3u);
    EXPECT_EQ(parameters_.nMaxGid, 4u);
    EXPECT_EQ(parameters_.nMinUid, 5u);
    EXPECT_EQ(parameters_.nMinGid, 6u);
}

TEST_P(ServerEnable, ContinuesWhenTheServerDoesNotStop) {
    platform().Fail("QLIBServiceStop", 1, -1, 0xD200);
    AnswerEverything();
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), 0);
}

TEST_P(ServerEnable, EndsWithoutAHash) {
    platform().On("slappasswd").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slappasswd"}));
}

TEST_P(ServerEnable, EndsWhenSlapdConfCannotBeWritten) {
    AnswerHash();
    platform().Fail("ZAFOLDAPConfSet", 1, -1, 0x0B00);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slappasswd", "slapd.conf"}));
    EXPECT_EQ(PlatformError(), 0x0B00);
}

TEST_P(ServerEnable, EndsWhenTheConnectionCannotBeSaved) {
    AnswerHash();
    platform().Fail("QLIBCFileSetSection", 1, -1, 0x0B00);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slappasswd", "slapd.conf", "save"}));
    EXPECT_EQ(Log(), Strings{"save borwser conf failed! [0x0B00]"});
}

TEST_P(ServerEnable, EndsWithoutAccessRules) {
    AnswerHash();
    platform().Fail("ZAFOLDAPGenTmpConf", 1, -1, 0x0900);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slappasswd", "slapd.conf", "save", "acls"}));
    EXPECT_EQ(Log(),
              (Strings{"generate temp file for /usr/zafo/etc/openldap/slapd-acls.conf failed.",
                       "generate acl conf failed."}));
}

TEST_P(ServerEnable, EndsWithoutADatabase) {
    AnswerHash();
    platform().On("slapadd").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps(),
              (Strings{"stop", "slappasswd", "slapd.conf", "save", "acls", "slapcat", "slapadd"}));
    EXPECT_EQ(LibraryError(), 1);
    EXPECT_EQ(Log(), (Strings{"slapadd return 1",
                              "ZAFOLDAPServerSlapadd [dc=x,dc=example] failed. " +
                                  Slot(kStalePlatformError),
                              "db create failed" + Slot(kStalePlatformError)}));
}

TEST_P(ServerEnable, AddsNoAccountsToAServerThatDoesNotStart) {
    AnswerHash();
    AnswerRandom();
    platform().Fail("QLIBServiceStart", 1, -1, 0xD100);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_EQ(Steps().back(), "start");
    EXPECT_EQ(Log(), Strings{"Start LDAP server failed. [0xD100]"});
    EXPECT_TRUE(platform().RunsOf("ldapsearch").empty());
}

TEST_P(ServerEnable, SurvivesARecordWithoutStrings) {
    AnswerRandom();
    platform().On("slapadd").Exits(1).Always();
    const ZAFOLDAP_SERVER_PARAM nothing{};
    EXPECT_EQ(ZAFOLDAPServerEnable(&nothing), -1);
}

TEST_P(ServerEnable, FailsCleanlyAtEveryCallThatFails) {
    FailEveryCall(
        {"QLIBCSzListAlloc", "QLIBCSzHashAlloc", "QLIBCSzHashSetValue", "QLIBCFileGetSection",
         "QLIBCFileAddSection", "QLIBCFileSetSection", "QLIBCryptSzEncrypt", "ZAFOLDAPSSLToString",
         "ZAFOLDAPDNDomainName", "ZAFOLDAPConfSet", "ZAFOLDAPGenTmpConf", "ZAFOLDAPInfoGetFromConf",
         "QLIBServiceStart", "QLIBServiceStop"},
        [this] {
            AnswerHash();
            AnswerRandom();
            return ZAFOLDAPServerEnable(&parameters_);
        });
}

TEST_P(ServerEnable, FailsWithoutDefaultAccounts) {
    AnswerHash();
    AnswerRandom();
    platform().On("ldapsearch").Exits(255);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parameters_), -1);
    EXPECT_TRUE(ServerRuns());
    EXPECT_TRUE(platform().RunsOf("ldapmodify").empty());
}

}  // namespace zafo::foreign::server_control_test
