// SPDX-License-Identifier: Apache-2.0
//
// Loading a change file without the server, and the two probes of the database.
#include <csignal>
#include <filesystem>

#include "tests/core/without_tool.h"
#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

using core_test::WithoutTool;
using testing::MatchesRegex;
namespace fs = std::filesystem;

constexpr const char *kEntry = "dn: cn=a,dc=example,dc=com\ncn: a\n";

class Slapadd : public ServiceTest {
  protected:
    Slapadd() { WriteConf(); }
    ~Slapadd() override {
        ZAFOLDAPLdifClose(&ldif_);
        fs::remove(path_);
    }
    // A change file of one entry, or of none.
    void Fill(bool with_entry = true) {
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        path_ = ldif_.szPath;
        ZAFOLDAPLdifTargetDN(&ldif_, "cn=a,dc=example,dc=com");
        if (with_entry) ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "a");
    }
    int Load() {
        Fill();
        return ZAFOLDAPServerSlapadd(&ldif_);
    }
    void ExpectConsumed() {
        EXPECT_EQ(ldif_.pFile, nullptr);
        EXPECT_STREQ(ldif_.szPath, "");
        EXPECT_FALSE(fs::exists(path_));
    }

    ZAFOLDAP_LDIF ldif_{};
    std::string path_;
};

TEST_F(Slapadd, ToolGetsTheSuffixAndTheWholeFile) {
    EXPECT_EQ(Load(), 0);
    ASSERT_THAT(tools_.Calls(), SizeIs(1));
    const rig::FakeCall call = tools_.Calls().at(0);
    EXPECT_THAT(call.argv, ElementsAre("/usr/zafo/bin/slapadd", "-b", kBase, "-l", path_));
    EXPECT_EQ(call.files.at(path_).content, kEntry);
    EXPECT_TRUE(call.InputIsNull());
    ExpectConsumed();
    EXPECT_EQ(ldif_.nExitCode, 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Slapadd, SuffixIsOneArgumentWhateverItHolds) {
    WriteConf("o=a 'b' $(c) & d,dc=com");
    EXPECT_EQ(Load(), 0);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(2), "o=a 'b' $(c) & d,dc=com");
}

TEST_F(Slapadd, ExitCodeIsTheLibraryErrorAndKeptInTheRecord) {
    for (const int code : {1, 2, 68, 127, 255}) {
        tools_.Reset();
        tools_.On("slapadd").Exit(code);
        log_.Clear();
        SetStaleCodes();
        EXPECT_EQ(Load(), -1);
        EXPECT_EQ(ldif_.nExitCode, code);
        ExpectSlots(code, kStalePlatformCode);
        EXPECT_THAT(LoggedTexts(), ElementsAre("slapadd return " + std::to_string(code)));
        ExpectConsumed();
    }
}

TEST_F(Slapadd, KilledToolIsLoggedByItsStatus) {
    for (const int signal : {SIGTERM, SIGKILL}) {
        tools_.Reset();
        tools_.On("slapadd").Die(signal);
        log_.Clear();
        EXPECT_EQ(Load(), -1);
        EXPECT_THAT(LoggedTexts(),
                    ElementsAre("slapadd terminate abnormal " + std::to_string(signal)));
        EXPECT_EQ(ldif_.nExitCode, 0);
        ExpectSlotsUntouched();
        ExpectConsumed();
    }
}

TEST_F(Slapadd, MissingToolIsLoggedAsACommandForPeople) {
    const WithoutTool none("slapadd");
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("Execute [/usr/zafo/bin/slapadd -b 'dc=example,dc=com' -l '" + path_ +
                            "'] failed!"));
    ExpectSlots(kStaleLdapCode, 0x0900);
    ExpectConsumed();
}

TEST_F(Slapadd, OutputIsNotReadNorLogged) {
    tools_.On("slapadd").IgnoreSignals().Flood("words\n").Exit(0);
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Slapadd, FileWithoutASuffixToLoadItIntoIsKept) {
    WriteConf("");
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("ZAFOLDAPInfoGetFromConf [/usr/zafo/etc/openldap/"
                                           "slapd.conf] [suffix] failed. [0x1234]"));
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_EQ(ldif_.szPath, path_);
    EXPECT_EQ(ContentOf(path_), kEntry);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(Slapadd, FileWithoutAttributesIsDeletedAndTheServerContinues) {
    StartBefore();
    const pid_t pid = Pid();
    Fill(false);
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif_), 0);
    ExpectConsumed();
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    EXPECT_EQ(Pid(), pid);
}

TEST_F(Slapadd, RunningServerIsStoppedAndStartedAgain) {
    StartBefore();
    const pid_t pid = Pid();
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Tools(), ElementsAre("server-stopped", "slapadd", "start-server"));
    EXPECT_GT(Pid(), 0);
    EXPECT_NE(Pid(), pid);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Slapadd, RunningServerIsStartedAgainAfterAFailure) {
    StartBefore();
    tools_.On("slapadd").Exit(1);
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(Tools(), ElementsAre("server-stopped", "slapadd", "start-server"));
    EXPECT_GT(Pid(), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre("slapadd return 1"));
    EXPECT_EQ(ZAFOLDAPErrGet(), 1);
}

TEST_F(Slapadd, ServerThatDoesNotStartAgainIsOnlyLogged) {
    for (const int code : {0, 1}) {
        tools_.Reset();
        StartBefore();
        tools_.On("slapadd").Exit(code);
        tools_.On("start-server").Exit(1);
        EXPECT_EQ(Load(), -code);
        EXPECT_EQ(LoggedTexts().back(), "Start LDAP server failed. [0xD100]");
        EXPECT_THAT(LoggedTexts(), SizeIs(1 + static_cast<size_t>(code)));
        ExpectConsumed();
    }
}

TEST_F(Slapadd, StoppedServerStaysStopped) {
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Tools(), ElementsAre("slapadd"));
    EXPECT_EQ(Pid(), 0);
}

// Probes -----------------------------------------------------------------------------------

class DNIsExist : public ServerTest {
  protected:
    // Asks for a DN while slapcat prints this.
    int Ask(const std::string &dn, const std::string &output) {
        tools_.Reset();
        tools_.On("slapcat").IgnoreSignals().Output(output);
        log_.Clear();
        SetStaleCodes();
        return ZAFOLDAPServerDNIsExist(dn.c_str());
    }
};

TEST_F(DNIsExist, AsksForTheEntryByItsDN) {
    EXPECT_EQ(Ask(kBase, ""), 0);
    ASSERT_THAT(tools_.Calls(), SizeIs(1));
    EXPECT_THAT(tools_.Calls().at(0).argv,
                ElementsAre("/usr/zafo/bin/slapcat", "-a", "(entryDN:=" + kBase + ")"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(DNIsExist, OnlyALineWithExactlyTheDNCounts) {
    const std::pair<std::string, int> kOutputs[] = {
        {"dn: dc=example,dc=com\n", 1},
        {"dn: dc=example,dc=com", 1},
        {"dn: dc=a\n\nobjectClass: top\ndn: dc=example,dc=com\ndc: example\n", 1},
        {"", 0},
        {"\n", 0},
        {"dn: \n", 0},
        {"dn: DC=example,dc=com\n", 0},
        {"dn: dc=example, dc=com\n", 0},
        {"dn: dc=example,dc=com \n", 0},
        {"dn: dc=example,dc=com\r\n", 0},
        {"dn: dc=example,dc=comx\n", 0},
        {"dn: dc=example,dc=co\n", 0},
        {"dn:  dc=example,dc=com\n", 0},
        {"dn:dc=example,dc=com\n", 0},
        {"dn:: ZGM9ZXhhbXBsZSxkYz1jb20=\n", 0},
        {"dn:: dc=example,dc=com\n", 0},
        {"DN: dc=example,dc=com\n", 0},
        {" dn: dc=example,dc=com\n", 0},
        {"member: dn: dc=example,dc=com\n", 0},
        {"dn: dc=example,\n dc=com\n", 0},
    };
    for (const auto &[output, found] : kOutputs)
        EXPECT_EQ(Ask(kBase, output), found) << output;
}

TEST_F(DNIsExist, FilterIsCutAt4095BytesAndTheComparisonIsNot) {
    const std::string dn = "cn=" + std::string(5000, 'x');
    EXPECT_EQ(Ask(dn, "dn: " + dn + "\n"), 1);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(2), ("(entryDN:=" + dn).substr(0, 4095));
    EXPECT_EQ(Ask(dn, "dn: " + dn.substr(0, 4085) + "\n"), 0);
}

TEST_F(DNIsExist, DNIsNeverAFormat) {
    EXPECT_EQ(Ask("cn=%s%n%%", "dn: cn=%s%n%%\n"), 1);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(2), "(entryDN:=cn=%s%n%%)");
}

TEST_F(DNIsExist, LongOutputIsNotReadToItsEndOnceTheDNIsFound) {
    tools_.On("slapcat").IgnoreSignals().Output(Found(kBase)).Flood("x: y\n");
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(kBase.c_str()), 1);
}

TEST_F(DNIsExist, FailedToolFoundNothing) {
    tools_.On("slapcat").Exit(1);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(kBase.c_str()), 0);
    ExpectSlotsUntouched();
    const WithoutTool none("slapcat");
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(kBase.c_str()), 0);
    ExpectSlots(kStaleLdapCode, 0x0900);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

class DBIsEmpty : public ServerTest {};

TEST_F(DBIsEmpty, DependsOnTheMarkerAlone) {
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    Write(std::string(kData) + "/data.mdb", "x");
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    Write(std::string(kData) + "/dn2id.bdb", "");
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
    fs::remove(std::string(kData) + "/dn2id.bdb");
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::server_test
