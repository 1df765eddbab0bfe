// SPDX-License-Identifier: Apache-2.0
//
// The database without its server: loading entries and looking them up offline.
#include <filesystem>

#include "tests/foreign/server.h"
#include "zafoldap/ldif.h"
#include "zafoldap/server.h"

namespace zafo::foreign::offline_database_test {

// --- Loading entries ------------------------------------------------------------

class Slapadd : public ServerTest {
  protected:
    ZAFOLDAP_LDIF ldif_{};

    // Writes one entry to a change file; returns its name.
    std::string Open() {
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        ZAFOLDAPLdifTargetDN(&ldif_, "cn=a,dc=x");
        ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "a");
        return ldif_.szPath;
    }
};
ZAFO_FOREIGN_SUITE(Slapadd);

TEST_P(Slapadd, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pLDIF", [] { return ZAFOLDAPServerSlapadd(nullptr); });
}

TEST_P(Slapadd, LoadsTheFileUnderTheSuffixOfSlapdConf) {
    const std::string path = Open();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    ASSERT_EQ(platform().Runs().size(), 1u);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/slapadd");
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.argv, (Strings{"-b", kSuffix, "-l", path}));
    EXPECT_EQ(run.change, "dn: cn=a,dc=x\ncn: a\n");
    EXPECT_TRUE(run.closed);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPInfoGetFromConf").at(0).arguments,
              (Strings{kSlapdConf, "suffix", "1024"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Slapadd, ClosesAndRemovesTheFile) {
    const std::string path = Open();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_FALSE(Exists(path));
}

TEST_P(Slapadd, LeavesAStoppedServerStopped) {
    Open();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(Steps(), Strings{"slapadd"});
    EXPECT_EQ(SleptMilliseconds(), 0);
}

TEST_P(Slapadd, StopsARunningServerAndStartsItAgain) {
    RunServer();
    Open();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(Steps(), (Strings{"stop", "slapadd", "start"}));
    EXPECT_TRUE(ServerRuns());
    EXPECT_EQ(SleptMilliseconds(), 2000);
}

TEST_P(Slapadd, StartsTheServerAgainAfterAFailure) {
    RunServer();
    Open();
    platform().On("slapadd").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slapadd", "start"}));
    EXPECT_EQ(LibraryError(), 1);
}

TEST_P(Slapadd, StartsTheServerAgainWhenTheToolCannotStart) {
    RunServer();
    Open();
    platform().On("slapadd").CannotStart();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(Steps(), (Strings{"stop", "slapadd", "start"}));
    EXPECT_TRUE(ServerRuns());
}

TEST_P(Slapadd, DoesNotFailForAServerThatDoesNotStartAgain) {
    RunServer();
    Open();
    platform().Fail("QLIBServiceStart", 1, -1, 0xD100);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(Log(), Strings{"Start LDAP server failed. [0xD100]"});
}

TEST_P(Slapadd, RemovesAFileWithoutEntriesAndLeavesTheServerAlone) {
    RunServer();
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    const std::string path = ldif_.szPath;
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(Steps(), Strings{});
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_TRUE(ServerRuns());
}

TEST_P(Slapadd, TakesAFileWithoutAttributesForEmpty) {
    RunServer();
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "cn=a,dc=x");
    const std::string path = ldif_.szPath;
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(Steps(), Strings{});
    EXPECT_FALSE(Exists(path));
}

TEST_P(Slapadd, KeepsTheFileWhenSlapdConfCannotBeRead) {
    RunServer();
    const std::string path = Open();
    platform().Fail("ZAFOLDAPInfoGetFromConf", 1, -1, 0x0900);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(Steps(), Strings{});
    EXPECT_EQ(Log(), Strings{std::string("ZAFOLDAPInfoGetFromConf [") + kSlapdConf +
                             "] [suffix] failed. [0x0900]"});
    EXPECT_EQ(FileText(path), "dn: cn=a,dc=x\ncn: a\n");
    EXPECT_STREQ(ldif_.szPath, path.c_str());
    EXPECT_EQ(ldif_.pFile, nullptr);
    ZAFOLDAPLdifUnlink(&ldif_);
}

TEST_P(Slapadd, ReadsSlapdConfBeforeItLooksIntoTheFile) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    const std::string path = ldif_.szPath;
    platform().Fail("ZAFOLDAPInfoGetFromConf", 1, -1, 0x0900);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_TRUE(Exists(path));
    ZAFOLDAPLdifUnlink(&ldif_);
}

TEST_P(Slapadd, TerminatesAnUnterminatedSuffixInItsBuffer) {
    Open();
    platform().Fills("ZAFOLDAPInfoGetFromConf");
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(platform().RunsOf("slapadd").at(0).argv.at(1), std::string(1023, 'x'));
}

TEST_P(Slapadd, SaysWhatCannotStart) {
    const std::string path = Open();
    platform().On("slapadd").CannotStart();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{"Execute [/usr/zafo/bin/slapadd -b 'dc=x,dc=example' -l '" + path +
                             "'] failed!"});
    EXPECT_FALSE(Exists(path));
}

TEST_P(Slapadd, SetsItsOwnCodeWhenThePlatformSaysSomethingElse) {
    Open();
    platform().On("slapadd").CannotStart(0x0200);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(Slapadd, GivesTheExitCode) {
    for (int code : {1, 32, 68, 127, 255}) {
        const std::string path = Open();
        Stale();
        platform().On("slapadd").Exits(code);
        EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(ldif_.nExitCode, code);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(TakeLog(), Strings{"slapadd return " + std::to_string(code)});
        EXPECT_FALSE(Exists(path));
    }
}

TEST_P(Slapadd, SaysWhenTheToolWasKilled) {
    for (int signal : {9, 15, 11}) {
        const std::string path = Open();
        Stale();
        platform().On("slapadd").Dies(signal);
        EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        EXPECT_EQ(ldif_.nExitCode, 0);
        EXPECT_EQ(TakeLog(), Strings{"slapadd terminate abnormal " + std::to_string(signal)});
        EXPECT_FALSE(Exists(path));
    }
}

TEST_P(Slapadd, FailsWithAStatusThatMakesNoSense) {
    for (int status : {-1, 0x7F, 0xFFFF}) {
        const std::string path = Open();
        Stale();
        platform().On("slapadd").Status(status);
        EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1) << status;
        EXPECT_FALSE(Exists(path));
    }
}

TEST_P(Slapadd, TakesARecordThatWasNeverOpenedForEmpty) {
    ldif_ = {};
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(Slapadd, KeepsTheRawStatusOfACoreDump) {
    Open();
    platform().On("slapadd").Status(139);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), -1);
    EXPECT_EQ(Log(), Strings{"slapadd terminate abnormal 139"});
}

TEST_P(Slapadd, TakesAFileThatIsClosedAlready) {
    const std::string path = Open();
    ASSERT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(platform().Runs().at(0).change, "dn: cn=a,dc=x\ncn: a\n");
    EXPECT_FALSE(Exists(path));
}

TEST_P(Slapadd, LoadsAFileOfTheCallersName) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, "/tmp/a file.ldif"), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "cn=a,dc=x");
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "a");
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(platform().Runs().at(0).argv, (Strings{"-b", kSuffix, "-l", "/tmp/a file.ldif"}));
    EXPECT_FALSE(Exists("/tmp/a file.ldif"));
}

TEST_P(Slapadd, FailsCleanlyWhateverFailsAroundARunningServer) {
    FailEveryCall({"QLIBServiceStop", "QLIBServiceStart", "QLIBServiceIsEnabled",
                   "QLIBCReadPidFile", "ZAFOLDAPInfoGetFromConf", "QLIBCPopen"},
                  [this] {
                      RunServer();
                      Open();
                      const int result = ZAFOLDAPServerSlapadd(&ldif_);
                      ZAFOLDAPLdifUnlink(&ldif_);
                      return result;
                  });
}

TEST_P(Slapadd, DoesNotReadTheOutput) {
    Open();
    platform().On("slapadd").Prints("line\n");
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_FALSE(platform().Runs().at(0).read_to_end);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Slapadd, PassesASuffixWithBlanksAndQuotesAsItIs) {
    const std::string suffix = "o=A 'b' \"c\",dc=x";
    platform().confs[kSlapdConf] = {{"suffix", suffix}};
    const std::string path = Open();
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    EXPECT_EQ(platform().Runs().at(0).argv, (Strings{"-b", suffix, "-l", path}));
}

// --- Looking for an entry ---------------------------------------------------------

class ServerDNIsExist : public ServerTest {};
ZAFO_FOREIGN_SUITE(ServerDNIsExist);

TEST_P(ServerDNIsExist, RefusesNoDN) {
    ExpectArgumentFailure("((void *)0) != szDN", [] { return ZAFOLDAPServerDNIsExist(nullptr); });
}

TEST_P(ServerDNIsExist, AsksSlapcatForTheDN) {
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 0);
    ASSERT_EQ(platform().Runs().size(), 1u);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/slapcat");
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.argv, (Strings{"-a", "(entryDN:=cn=a,dc=x)"}));
    EXPECT_TRUE(run.closed);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(ServerDNIsExist, ComparesByteForByte) {
    struct Case {
        const char *output;
        int found;
    };
    for (const Case &row : {
             Case{"dn: cn=a,dc=x\ncn: a\n\n", 1},
             Case{"dn: cn=a,dc=x", 1},
             Case{"# comment\n\ndn: cn=b,dc=x\n\ndn: cn=a,dc=x\n\n", 1},
             Case{"dn: cn=A,dc=x\n", 0},
             Case{"dn: cn=a, dc=x\n", 0},
             Case{"dn: cn=a,dc=x \n", 0},
             Case{"dn:  cn=a,dc=x\n", 0},
             Case{"dn:cn=a,dc=x\n", 0},
             Case{"DN: cn=a,dc=x\n", 0},
             Case{" dn: cn=a,dc=x\n", 0},
             Case{"dn: cn=a,dc=x1\n", 0},
             Case{"dn: cn=a,dc=\n", 0},
             Case{"dn: \n", 0},
             Case{"dn:: Y249YSxkYz14\n", 0},
             Case{"cn: dn: cn=a,dc=x\n", 0},
             Case{"\n\n", 0},
             Case{"", 0},
         }) {
        platform().On("slapcat").Prints(row.output);
        EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), row.found) << row.output;
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerDNIsExist, FindsALongDN) {
    const std::string name = "cn=" + std::string(4000, 'a') + ",dc=x";
    platform().On("slapcat").Prints("dn: " + name + "\n");
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(name.c_str()), 1);
    EXPECT_EQ(platform().Runs().at(0).argv.at(1), "(entryDN:=" + name + ")");
}

TEST_P(ServerDNIsExist, ReadsPastLongLines) {
    platform().On("slapcat").Prints("description: " + std::string(20000, 'x') +
                                    "\ndn: cn=a,dc=x\n");
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 1);
}

TEST_P(ServerDNIsExist, DoesNotMistakeTheMiddleOfALongLineForALine) {
    for (size_t length : {63u, 127u, 255u, 511u, 1023u, 2047u, 4095u, 8191u, 64u, 128u, 256u, 512u,
                          1024u, 2048u, 4096u, 8192u}) {
        platform().On("slapcat").Prints(std::string(length, 'x') + "dn: cn=a,dc=x\n");
        EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 0) << length;
    }
}

TEST_P(ServerDNIsExist, DoesNotLookAtTheExitCode) {
    platform().On("slapcat").Prints("dn: cn=a,dc=x\n").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 1);
    platform().On("slapcat").Exits(1);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 0);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(ServerDNIsExist, IsZeroWhenSlapcatCannotStart) {
    platform().On("slapcat").CannotStart(0);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 0);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(ServerDNIsExist, IsZeroWhenTheOutputCannotBeRead) {
    platform().On("slapcat").Prints("dn: cn=b,dc=x\n").ReadFails();
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=a,dc=x"), 0);
}

TEST_P(ServerDNIsExist, PutsTheDNIntoTheFilterAsItIs) {
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("cn=(a)*\\,dc=x%s"), 0);
    EXPECT_EQ(platform().Runs().at(0).argv, (Strings{"-a", "(entryDN:=cn=(a)*\\,dc=x%s)"}));
}

TEST_P(ServerDNIsExist, HasAFilterOfAtMost4095Bytes) {
    const std::string name = "cn=" + std::string(9000, 'a');
    ZAFOLDAPServerDNIsExist(name.c_str());
    ASSERT_EQ(platform().Runs().size(), 1u);
    EXPECT_EQ(platform().Runs()[0].argv.at(1).size(), 4095u);
}

class ServerDBIsEmpty : public ServerTest {};
ZAFO_FOREIGN_SUITE(ServerDBIsEmpty);

TEST_P(ServerDBIsEmpty, LooksForTheFileThatADatabaseWithDataHas) {
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    WriteFile(kDataMarker, "");
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
    EXPECT_TRUE(platform().Calls().empty());
}

TEST_P(ServerDBIsEmpty, IsTrueWithoutADataFolder) {
    std::filesystem::remove_all(kDataFolder);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
}

}  // namespace zafo::foreign::offline_database_test
