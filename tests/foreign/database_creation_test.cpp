// SPDX-License-Identifier: Apache-2.0
//
// The skeleton of the server's database: nine entries, each looked up and, if missing, loaded
// offline.
#include <algorithm>

#include "tests/foreign/server.h"
#include "zafoldap/server.h"

namespace zafo::foreign::database_creation_test {

constexpr char kSeeds[] =
    "file:/usr/zafo/etc/smb.conf:/etc/passwd:/etc/shadow:/etc/groups:/var/log/messages";
constexpr char kDomain[] = "sambaDomainName=x,dc=x,dc=example";

const Strings &Names() {
    static const Strings names{
        "dc=x,dc=example",
        "cn=users,dc=x,dc=example",
        "cn=groups,dc=x,dc=example",
        "cn=zafoconf,dc=x,dc=example",
        "cn=MinID,cn=zafoconf,dc=x,dc=example",
        "cn=MaxID,cn=zafoconf,dc=x,dc=example",
        "cn=CurID,cn=zafoconf,dc=x,dc=example",
        "cn=MaxNum,cn=zafoconf,dc=x,dc=example",
        kDomain,
    };
    return names;
}

std::string Container(const std::string &name, const std::string &suffix = kSuffix) {
    return "dn: cn=" + name + "," + suffix + "\ncn: " + name +
           "\nobjectClass: organizationalRole\n";
}

std::string Pool(const std::string &name, const std::string &uid, const std::string &gid) {
    return "dn: cn=" + name + ",cn=zafoconf,dc=x,dc=example\ncn: " + name + "\nuidNumber: " + uid +
           "\ngidNumber: " + gid +
           "\nobjectClass: organizationalRole\nobjectClass: sambaUnixIdPool\n";
}

std::string Domain(const std::string &sid) {
    return std::string("dn: ") + kDomain +
           "\n"
           "sambaDomainName: x\n"
           "sambaLogonToChgPwd: 0\n"
           "sambaLockoutObservationWindow: 30\n"
           "sambaMaxPwdAge: -1\n"
           "sambaRefuseMachinePwdChange: 0\n"
           "sambaLockoutThreshold: 0\n"
           "sambaMinPwdAge: 0\n"
           "sambaNextUserRid: 1000\n"
           "sambaForceLogoff: -1\n"
           "sambaLockoutDuration: 30\n"
           "sambaSID: " +
           sid +
           "\n"
           "sambaPwdHistoryLength: 0\n"
           "sambaMinPwdLength: 1\n"
           "sambaAlgorithmicRidBase: 1000\n"
           "objectClass: sambaDomain\n";
}

class DatabaseTest : public ServerTest {
  protected:
    ZAFOLDAP_SERVER_PARAM parameters_{nullptr, nullptr, nullptr, 11, 12, 21, 22, 31, 32};

    // The look-up tool finds these entries.
    void Holds(const Strings &names) {
        for (const std::string &name : names)
            platform()
                .On("slapcat",
                    [name](const Strings &argv) {
                        return argv.size() == 2 && argv[1] == "(entryDN:=" + name + ")";
                    })
                .Prints("dn: " + name + "\nobjectClass: top\n\n");
    }
    void AnswerRandom(const std::string &first = "00000001\n",
                      const std::string &second = "0000000a\n",
                      const std::string &third = "ffffffff\n") {
        platform().On("openssl").Prints(first).Then().Prints(second).Then().Prints(third);
    }
    Strings Loaded() {
        Strings texts;
        for (const Run &run : platform().RunsOf("slapadd"))
            texts.push_back(run.change);
        return texts;
    }
    Strings LookedFor() {
        Strings names;
        for (const Run &run : platform().RunsOf("slapcat"))
            names.push_back(run.argv.size() == 2 ? run.argv[1] : "?");
        return names;
    }
    // Expects no change file left in "/tmp".
    void ExpectNoChangeFile() {
        for (const Run &run : platform().RunsOf("slapadd"))
            EXPECT_FALSE(Exists(run.argv.back())) << run.argv.back();
    }
};

class DatabaseCreation : public DatabaseTest {};
ZAFO_FOREIGN_SUITE(DatabaseCreation);

TEST_P(DatabaseCreation, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pParms", [] { return ZAFOLDAPServerDBCreate(nullptr); });
}

TEST_P(DatabaseCreation, LoadsNineEntriesIntoAnEmptyDatabase) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_EQ(Loaded(),
              (Strings{"dn: dc=x,dc=example\ndc: x\nobjectClass: domain\n", Container("users"),
                       Container("groups"), Container("zafoconf"), Pool("MinID", "31", "32"),
                       Pool("MaxID", "21", "22"), Pool("CurID", "11", "12"),
                       Pool("MaxNum", "10000", "10000"), Domain("S-1-5-21-1-10-4294967295")}));
    EXPECT_EQ(Log(), Strings{});
    ExpectNoChangeFile();
}

TEST_P(DatabaseCreation, LooksForEachEntryBeforeItIsLoaded) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    Strings expected;
    for (int entry = 0; entry < 8; ++entry) {
        expected.push_back("slapcat");
        expected.push_back("slapadd");
    }
    for (const char *tool : {"slapcat", "openssl", "openssl", "openssl", "slapadd", "slapindex"})
        expected.push_back(tool);
    EXPECT_EQ(Steps(), expected);
    Strings filters;
    for (const std::string &name : Names())
        filters.push_back("(entryDN:=" + name + ")");
    EXPECT_EQ(LookedFor(), filters);
}

TEST_P(DatabaseCreation, LoadsWhatCannotBeLookedFor) {
    AnswerRandom();
    platform().On("slapcat").CannotStart().Always();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_EQ(Loaded().size(), 9u);
}

TEST_P(DatabaseCreation, ReadsTheSuffixFromSlapdConf) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    const std::vector<Call> calls = platform().CallsOf("ZAFOLDAPInfoGetFromConf");
    ASSERT_FALSE(calls.empty());
    for (const Call &call : calls)
        EXPECT_EQ(call.arguments, (Strings{kSlapdConf, "suffix", "1024"}));
}

TEST_P(DatabaseCreation, DoesNotReadTheStringsOfTheRecord) {
    AnswerRandom();
    parameters_.szSuffix = "dc=other";
    parameters_.szRootDN = "cn=other";
    parameters_.szRootPW = "other";
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    ASSERT_EQ(Loaded().size(), 9u);
    EXPECT_EQ(Loaded()[1], Container("users"));
}

TEST_P(DatabaseCreation, WritesNumbersUnsigned) {
    AnswerRandom();
    parameters_ = {nullptr, nullptr,     nullptr, 4294967295u, 4294967294u, 3000000000u,
                   0,       2147483648u, 1};
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    ASSERT_EQ(Loaded().size(), 9u);
    EXPECT_EQ(Loaded()[4], Pool("MinID", "2147483648", "1"));
    EXPECT_EQ(Loaded()[5], Pool("MaxID", "3000000000", "0"));
    EXPECT_EQ(Loaded()[6], Pool("CurID", "4294967295", "4294967294"));
}

TEST_P(DatabaseCreation, IndexesWithoutArguments) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    ASSERT_EQ(platform().RunsOf("slapindex").size(), 1u);
    const Run run = platform().RunsOf("slapindex").at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/slapindex");
    EXPECT_EQ(run.how, "QLIBCExecl");
    EXPECT_EQ(run.bits, 0xBB);
    EXPECT_EQ(run.argv, Strings{});
}

TEST_P(DatabaseCreation, DoesNotMindAFailingIndex) {
    for (int status : {-1, 1, 9, 256, 32512}) {
        platform().Forget();
        AnswerRandom();
        platform().On("slapindex").Status(status);
        EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0) << status;
    }
    platform().Forget();
    AnswerRandom();
    platform().On("slapindex").CannotStart();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(DatabaseCreation, AddsNothingToACompleteDatabaseAndIndexesIt) {
    Holds(Names());
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
    EXPECT_TRUE(platform().RunsOf("openssl").empty());
    EXPECT_EQ(platform().RunsOf("slapcat").size(), 9u);
    EXPECT_EQ(platform().RunsOf("slapindex").size(), 1u);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(DatabaseCreation, LeavesARunningServerAloneWhenNothingIsMissing) {
    RunServer();
    Holds(Names());
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    EXPECT_TRUE(platform().CallsOf("QLIBServiceStop").empty());
    EXPECT_TRUE(platform().CallsOf("QLIBServiceStart").empty());
}

TEST_P(DatabaseCreation, AddsWhatIsMissingOnly) {
    for (size_t missing = 0; missing < Names().size(); ++missing) {
        Again();
        Strings held = Names();
        held.erase(held.begin() + static_cast<std::ptrdiff_t>(missing));
        Holds(held);
        if (missing == 8) AnswerRandom();
        EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
        ASSERT_EQ(Loaded().size(), 1u) << Names()[missing];
        EXPECT_EQ(Loaded()[0].rfind("dn: " + Names()[missing] + "\n", 0), 0u) << Loaded()[0];
    }
}

TEST_P(DatabaseCreation, EndsAtTheFirstEntryThatCannotBeLoaded) {
    for (size_t failing = 0; failing < 8; ++failing) {
        Again();
        for (size_t good = 0; good < failing; ++good)
            platform().On("slapadd");
        platform().On("slapadd").Exits(68);
        EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1) << failing;
        EXPECT_EQ(platform().RunsOf("slapadd").size(), failing + 1);
        EXPECT_TRUE(platform().RunsOf("slapindex").empty());
        EXPECT_EQ(LibraryError(), 68);
        EXPECT_EQ(Log(),
                  (Strings{"slapadd return 68", "ZAFOLDAPServerSlapadd [" + Names()[failing] +
                                                    "] failed. " + Slot(kStalePlatformError)}));
        ExpectNoChangeFile();
    }
}

TEST_P(DatabaseCreation, SaysWhenSlapaddCannotStart) {
    platform().On("slapadd").CannotStart();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    ASSERT_EQ(Log().size(), 2u);
    EXPECT_EQ(Log()[1], "ZAFOLDAPServerSlapadd [dc=x,dc=example] failed. [0x0900]");
}

TEST_P(DatabaseCreation, FailsWithoutASambaDomain) {
    for (int entry = 0; entry < 8; ++entry)
        platform().On("slapadd");
    platform().On("slapadd").Exits(65);
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
    EXPECT_EQ(LibraryError(), 65);
    EXPECT_TRUE(platform().RunsOf("slapindex").empty());
    EXPECT_EQ(
        Log(),
        (Strings{"slapadd return 65", "ZAFOLDAPServerSlapadd failed. " + Slot(kStalePlatformError),
                 "ZAFOLDAPServerSambaDomainCreate failed. " + Slot(kStalePlatformError)}));
}

TEST_P(DatabaseCreation, FailsWhenSlapdConfCannotBeRead) {
    for (int result : {-1, -2}) {
        platform().Forget();
        platform().Fail("ZAFOLDAPInfoGetFromConf", 1, result, 0x0900);
        EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
        EXPECT_TRUE(platform().Runs().empty());
        EXPECT_EQ(TakeLog(), Strings{std::string("ZAFOLDAPInfoGetFromConf [") + kSlapdConf +
                                     "] [suffix] failed. [0x0900]"});
    }
}

TEST_P(DatabaseCreation, FailsWithoutASuffix) {
    platform().confs[kSlapdConf] = {};
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
}

TEST_P(DatabaseCreation, FailsWithAnUnterminatedSuffix) {
    platform().Fills("ZAFOLDAPInfoGetFromConf");
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
}

TEST_P(DatabaseCreation, SurvivesASuffixThatLeavesNoRoomForNames) {
    platform().confs[kSlapdConf] = {{"suffix", "dc=" + std::string(1020, 'a')}};
    platform().On("openssl").Prints("00000001\n").Always();
    const int result = ZAFOLDAPServerDBCreate(&parameters_);
    EXPECT_TRUE(result == 0 || result == -1) << result;
}

TEST_P(DatabaseCreation, LoadsNothingUnderASuffixWithoutADomainComponent) {
    platform().confs[kSlapdConf] = {{"suffix", "o=example"}};
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 1, -1, 0x0F00);
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
    EXPECT_TRUE(platform().RunsOf("slapindex").empty());
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPDNFirstDomainComponent [o=example] failed. [0x0F00]"});
}

TEST_P(DatabaseCreation, SurvivesAnUnterminatedDomainComponent) {
    platform().Fills("ZAFOLDAPDNFirstDomainComponent");
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), -1);
}

TEST_P(DatabaseCreation, StopsAndStartsARunningServerAroundEveryEntry) {
    RunServer();
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parameters_), 0);
    Strings expected;
    for (int entry = 0; entry < 8; ++entry)
        for (const char *step : {"slapcat", "stop", "slapadd", "start"})
            expected.push_back(step);
    for (const char *step :
         {"slapcat", "openssl", "openssl", "openssl", "stop", "slapadd", "start", "slapindex"})
        expected.push_back(step);
    EXPECT_EQ(Steps(), expected);
    EXPECT_TRUE(ServerRuns());
}

TEST_P(DatabaseCreation, FailsCleanlyAtEveryCallThatFails) {
    FailEveryCall(WhatFails(), [this] {
        platform().On("openssl").Prints("00000001\n").Always();
        return ZAFOLDAPServerDBCreate(&parameters_);
    });
}

class SambaDomain : public DatabaseTest {};
ZAFO_FOREIGN_SUITE(SambaDomain);

TEST_P(SambaDomain, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pParms",
                          [] { return ZAFOLDAPServerSambaDomainCreate(kSuffix, nullptr); });
}

TEST_P(SambaDomain, FailsWithoutASuffix) {
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(nullptr, &parameters_), -1);
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(SambaDomain, LoadsTheDomainWithThreeRandomNumbers) {
    AnswerRandom("deadbeef\n", "00000000\n", "ffffffff\n");
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_EQ(Loaded(), Strings{Domain("S-1-5-21-3735928559-0-4294967295")});
    EXPECT_EQ(Log(), Strings{});
    ExpectNoChangeFile();
}

TEST_P(SambaDomain, ReadsHexadecimalDigitsOfBothCases) {
    AnswerRandom("ABCDEF01\n", "abcdef01\n", "7fffffff");
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_EQ(Loaded(), Strings{Domain("S-1-5-21-2882400001-2882400001-2147483647")});
}

TEST_P(SambaDomain, AsksOpensslForFourBytesThreeTimes) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    const std::vector<Run> runs = platform().RunsOf("openssl");
    ASSERT_EQ(runs.size(), 3u);
    for (const Run &run : runs) {
        EXPECT_EQ(run.path, "/usr/zafo/bin/openssl");
        EXPECT_EQ(run.how, "QLIBCPopen r");
        EXPECT_EQ(run.argv, (Strings{"rand", "-rand", kSeeds, "-hex", "4"}));
        EXPECT_TRUE(run.closed);
    }
}

TEST_P(SambaDomain, LooksForTheDomainFirst) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_EQ(Steps(), (Strings{"slapcat", "openssl", "openssl", "openssl", "slapadd"}));
    EXPECT_EQ(LookedFor(), Strings{std::string("(entryDN:=") + kDomain + ")"});
}

TEST_P(SambaDomain, KeepsADomainThatExists) {
    Holds({kDomain});
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_EQ(Steps(), Strings{"slapcat"});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(SambaDomain, TakesTheFirstDomainComponentOfTheSuffix) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    ASSERT_FALSE(platform().CallsOf("ZAFOLDAPDNFirstDomainComponent").empty());
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPDNFirstDomainComponent").at(0).arguments,
              (Strings{kSuffix, "1024"}));
}

TEST_P(SambaDomain, UsesTheGivenSuffix) {
    AnswerRandom();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate("ou=a,dc=other,dc=example", &parameters_), 0);
    ASSERT_EQ(Loaded().size(), 1u);
    EXPECT_EQ(Loaded()[0].rfind("dn: sambaDomainName=other,ou=a,dc=other,dc=example\n"
                                "sambaDomainName: other\n",
                                0),
              0u)
        << Loaded()[0];
}

TEST_P(SambaDomain, FailsWithoutADomainComponent) {
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 1, -1, 0x0F00);
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate("o=x", &parameters_), -1);
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPDNFirstDomainComponent [o=x] failed. [0x0F00]"});
}

TEST_P(SambaDomain, LoadsNothingWhenOpensslCannotStart) {
    for (int nth = 1; nth <= 3; ++nth) {
        platform().Forget();
        for (int good = 1; good < nth; ++good)
            platform().On("openssl").Prints("00000001\n");
        platform().On("openssl").CannotStart();
        EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), -1) << nth;
        EXPECT_EQ(platform().RunsOf("openssl").size(), static_cast<size_t>(nth));
        EXPECT_TRUE(platform().RunsOf("slapadd").empty());
        EXPECT_EQ(TakeLog(), Strings{"Popen failed [0x0900]"});
    }
}

TEST_P(SambaDomain, LoadsNothingWhenOpensslPrintsNothing) {
    for (int nth = 1; nth <= 3; ++nth) {
        platform().Forget();
        for (int good = 1; good < nth; ++good)
            platform().On("openssl").Prints("00000001\n");
        platform().On("openssl").Exits(1);
        EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), -1) << nth;
        EXPECT_TRUE(platform().RunsOf("slapadd").empty());
        const Strings log = TakeLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].rfind("Failed to read from popen (", 0), 0u) << log[0];
    }
}

TEST_P(SambaDomain, SaysWhyTheNumberCannotBeRead) {
    platform().On("openssl").ReadFails();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), -1);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
    EXPECT_EQ(Log(), Strings{"Failed to read from popen (Input/output error)"});
}

TEST_P(SambaDomain, ReadsAgainAfterAnInterruption) {
    platform().On("openssl").Interrupted(4).Prints("00000007\n");
    platform().On("openssl").Interrupted(1).Prints("00000008\n");
    platform().On("openssl").Prints("00000009\n");
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), 0);
    EXPECT_EQ(Loaded(), Strings{Domain("S-1-5-21-7-8-9")});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(SambaDomain, GivesUpAfterFiveInterruptions) {
    platform().On("openssl").Interrupted(5).Prints("00000007\n");
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), -1);
    EXPECT_TRUE(platform().RunsOf("slapadd").empty());
}

TEST_P(SambaDomain, SaysWhenSlapaddFails) {
    AnswerRandom();
    platform().On("slapadd").Exits(68);
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kSuffix, &parameters_), -1);
    EXPECT_EQ(LibraryError(), 68);
    EXPECT_EQ(Log(), (Strings{"slapadd return 68",
                              "ZAFOLDAPServerSlapadd failed. " + Slot(kStalePlatformError)}));
    ExpectNoChangeFile();
}

class NodeCreation : public DatabaseTest {
  protected:
    Host host_;
    Strings Argv(const Run &run) {
        return {"-ax",
                "-H",
                "ldap://ldap.x.example",
                "-D",
                "cn=admin,dc=x,dc=example",
                "-f",
                run.argv.size() == 9 ? run.argv[6] : "?",
                "-w",
                "secret"};
    }
};
ZAFO_FOREIGN_SUITE(NodeCreation);

TEST_P(NodeCreation, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPBrowserNodeCreate(nullptr, nullptr); });
    Host host;
    host.uri.reset();
    host.base.reset();
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserNodeCreate(host, nullptr); });
    Host second;
    second.base.reset();
    ExpectArgumentFailure("((void *)0) != pHost->szBaseDN",
                          [&] { return ZAFOLDAPBrowserNodeCreate(second, nullptr); });
    Host third;
    ExpectArgumentFailure("NULL != szNodeName",
                          [&] { return ZAFOLDAPBrowserNodeCreate(third, nullptr); });
}

TEST_P(NodeCreation, AddsAContainerThroughTheServer) {
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(host_, "people"), 0);
    ASSERT_EQ(platform().Runs().size(), 1u);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/ldapmodify");
    EXPECT_EQ(run.argv, Argv(run));
    EXPECT_EQ(run.change, Container("people"));
    EXPECT_FALSE(Exists(run.argv[6]));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(NodeCreation, FailsWhenTheEntryExists) {
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(host_, "people"), -1);
    EXPECT_EQ(LibraryError(), 68);
    EXPECT_EQ(platform().Runs().size(), 1u);
    EXPECT_EQ(Log(), Strings{"ldap modify failed [people, ] " + Slot(kStalePlatformError)});
}

TEST_P(NodeCreation, FailsWhenTheToolCannotStart) {
    platform().On("ldapmodify").CannotStart();
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(host_, "people"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Log(), (Strings{"Execute [] failed!", "ldap modify failed [people, ] [0x0900]"}));
}

TEST_P(NodeCreation, FailsWhenTheToolIsKilled) {
    platform().On("ldapmodify").Dies(9);
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(host_, "people"), -1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), (Strings{"ldapmodify terminate abnormal 9",
                              "ldap modify failed [people, ] " + Slot(kStalePlatformError)}));
}

class RootNodeCreation : public NodeCreation {};
ZAFO_FOREIGN_SUITE(RootNodeCreation);

TEST_P(RootNodeCreation, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPBrowserRootNodeCreate(nullptr); });
    Host host;
    host.uri.reset();
    host.base.reset();
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserRootNodeCreate(host); });
    Host second;
    second.base.reset();
    ExpectArgumentFailure("((void *)0) != pHost->szBaseDN",
                          [&] { return ZAFOLDAPBrowserRootNodeCreate(second); });
}

TEST_P(RootNodeCreation, AddsTheBaseEntryThroughTheServer) {
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(host_), 0);
    ASSERT_EQ(platform().Runs().size(), 1u);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.argv, Argv(run));
    EXPECT_EQ(run.change, "dn: dc=x,dc=example\ndc: x\nobjectClass: domain\n");
    EXPECT_FALSE(Exists(run.argv[6]));
}

TEST_P(RootNodeCreation, TerminatesAnUnterminatedDomainComponentInItsBuffer) {
    platform().Fills("ZAFOLDAPDNFirstDomainComponent");
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(host_), 0);
    EXPECT_EQ(platform().Runs().at(0).change,
              "dn: dc=x,dc=example\ndc: " + std::string(1023, 'x') + "\nobjectClass: domain\n");
}

TEST_P(RootNodeCreation, FailsWhenTheEntryExists) {
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(host_), -1);
    EXPECT_EQ(LibraryError(), 68);
    EXPECT_EQ(Log(),
              Strings{"ZAFOLDAPModify failed [dc=x,dc=example] " + Slot(kStalePlatformError)});
}

TEST_P(RootNodeCreation, RunsNothingWithoutADomainComponent) {
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 1, -1, 0x0F00);
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(host_), -1);
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPDNFirstDomainComponent [dc=x,dc=example] failed. [0x0F00]"});
}

}  // namespace zafo::foreign::database_creation_test
