// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>

#include "tests/host/ldap_server_fixture.h"

namespace zafo::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

const std::string kBase = "dn: dc=example,dc=com\nobjectClass: domain\ndc: example\n\n";

// The system log since the object was created.
class NewLog {
  public:
    NewLog() : before_(ReadFile(kPath).size()) {}

    bool Has(const std::string &text) const {
        return ReadFile(kPath).find(text, before_) != std::string::npos;
    }

    // The log is written by another process: waits for a line sent after all others.
    void WaitUntil(const std::string &mark) const {
        rig::RunProgram({"logger", mark});
        for (int i = 0; i < 500 && !Has(mark); ++i)
            usleep(10000);
        EXPECT_TRUE(Has(mark));
    }

  private:
    static constexpr const char *kPath = "/var/log/messages";
    size_t before_;
};

TEST_F(LdapServer, TemplateIsAConfigurationThatSlapdTakes) {
    WriteFile(kAccess, "");
    ASSERT_EQ(StartProgram("--certificates-only").exit_code, 0);
    const Map nothing = NewMap();
    ASSERT_EQ(ZAFOLDAPConfSet(kConf.c_str(), kTemplate.c_str(), nothing.get(), 0), 0);
    const rig::ProgramRun run = rig::RunProgram({"slaptest", "-u", "-f", kConf});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out + run.err, "config file testing succeeded\n");
}

TEST_F(LdapServer, TheTemplatesAdministratorCannotLogIn) {
    Configure();
    std::filesystem::remove(kConf);
    const Map nothing = NewMap();
    ASSERT_EQ(ZAFOLDAPConfSet(kConf.c_str(), kTemplate.c_str(), nothing.get(), 0), 0);
    Start();
    for (const char *password : {"*", "{CRYPT}*", "x", "secret"}) {
        password_ = password;
        EXPECT_EQ(Client({"ldapwhoami"}).exit_code, 49) << password;
    }
}

TEST_F(LdapServer, AnswersInClearTextAndOverTls) {
    Configure();
    Start();
    for (const std::vector<std::string> &how : {std::vector<std::string>{"ldap://localhost"},
                                                {"ldap://127.0.0.1", "-ZZ"},
                                                {"ldap://localhost", "-ZZ"},
                                                {"ldaps://localhost"},
                                                {"ldaps://127.0.0.1"}}) {
        std::vector<std::string> command = {"/usr/zafo/bin/ldapsearch", "-x", "-s", "base", "-H"};
        command.insert(command.end(), how.begin(), how.end());
        const rig::ProgramRun run = rig::RunProgram(command);
        EXPECT_EQ(run.exit_code, 0) << how[0] << run.err;
    }
}

TEST_F(LdapServer, SpeaksNoTlsBefore12) {
    Configure();
    Start();
    const auto connects = [](const char *version) {
        return rig::RunProgram({"openssl", "s_client", "-connect", "localhost:636", version,
                                "-cipher", "ALL:@SECLEVEL=0"})
                   .exit_code == 0;
    };
    EXPECT_TRUE(connects("-tls1_2"));
    EXPECT_FALSE(connects("-tls1_1"));
    EXPECT_FALSE(connects("-tls1"));
}

// The rights that the systemd unit leaves to the start program.
TEST_F(LdapServer, StartsWithTheRightsOfItsSystemdUnit) {
    if (geteuid() != 0 || ServerAccount() == nullptr) GTEST_SKIP() << "this root has one account";
    Configure();
    const std::string unit = ReadFile("/usr/zafo/etc.defaults/systemd/ldap-server.service");
    constexpr const char *kKey = "\nCapabilityBoundingSet=";
    const size_t at = unit.find(kKey);
    ASSERT_NE(at, std::string::npos);
    std::istringstream names(unit.substr(at + std::strlen(kKey), unit.find('\n', at + 1) - at));
    std::string set = "-all";
    for (std::string name; names >> name && name.starts_with("CAP_");) {
        std::ranges::transform(name, name.begin(), [](char c) { return std::tolower(c); });
        set += ",+" + name.substr(4);
    }
    const rig::ProgramRun run = rig::RunProgram(
        {"setpriv", "--no-new-privs", "--bounding-set", set, "--inh-caps=-all", "--", kStart});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(
        rig::RunProgram({"ldapsearch", "-x", "-s", "base", "-H", "ldap://localhost"}).exit_code, 0);
    Shell("kill $(</run/slapd.pid)");
}

TEST_F(LdapServer, RunsAsItsOwnUser) {
    Configure();
    Start();
    const passwd *account = ServerAccount();
    if (account == nullptr) GTEST_SKIP() << "files cannot be given to the user openldap";
    const pid_t pid = QLIBCReadPidFile(kServerPidFile.c_str());
    struct stat facts {};
    ASSERT_EQ(stat(("/proc/" + std::to_string(pid)).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, account->pw_uid);
    ASSERT_EQ(stat(kData.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, account->pw_uid);
    EXPECT_EQ(facts.st_mode & 07777, 0700U);
}

TEST_F(LdapServer, TakesOverADatabaseThatRootHasLoaded) {
    Configure();
    WriteFile("/tmp/base.ldif", kBase);
    ASSERT_EQ(rig::RunProgram({"slapadd", "-f", kConf, "-l", "/tmp/base.ldif"}).exit_code, 0);
    Start();
    EXPECT_EQ(Client({"ldapsearch", "-s", "base", "-b", "dc=example,dc=com"}).exit_code, 0);
}

TEST_F(LdapServer, StopsAndStartsAgainWithItsEntries) {
    Configure();
    Start();
    Add(kBase);
    const pid_t first = QLIBCReadPidFile(kServerPidFile.c_str());
    ASSERT_EQ(QLIBServiceStop("ldap-server", 0), 0);
    EXPECT_EQ(QLIBCProcAlive(first), 0);
    EXPECT_FALSE(std::filesystem::exists(kServerPidFile));
    Start();
    EXPECT_EQ(Client({"ldapsearch", "-s", "base", "-b", "dc=example,dc=com"}).exit_code, 0);
}

TEST_F(LdapServer, MarksItsDatabaseWhileItHoldsAnEntry) {
    Configure();
    Start();
    EXPECT_FALSE(std::filesystem::exists(kData + "/dn2id.bdb"));
    Add(kBase);
    ASSERT_EQ(QLIBServiceStop("ldap-server", 0), 0);
    EXPECT_TRUE(std::filesystem::exists(kData + "/dn2id.bdb"));
    Start();
    EXPECT_TRUE(std::filesystem::exists(kData + "/dn2id.bdb"));
    ASSERT_EQ(Client({"ldapdelete", "dc=example,dc=com"}).exit_code, 0);
    ASSERT_EQ(QLIBServiceStop("ldap-server", 0), 0);
    EXPECT_FALSE(std::filesystem::exists(kData + "/dn2id.bdb"));
}

TEST_F(LdapServer, ListensWhereItsSettingsSay) {
    Configure();
    WriteFile("/usr/zafo/etc/service/ldap-server.conf", "listen = ldap://127.0.0.1:3890/\n");
    Start();
    const auto answers = [](const std::string &uri) {
        return rig::RunProgram({"ldapsearch", "-x", "-s", "base", "-H", uri}).exit_code == 0;
    };
    EXPECT_TRUE(answers("ldap://127.0.0.1:3890"));
    EXPECT_FALSE(answers("ldap://127.0.0.1:389"));
}

TEST_F(LdapServer, ListsEverythingToAuthenticatedUsersAndAPageToAnonymousOnes) {
    Configure();
    Start();
    std::string ldif = kBase;
    for (int i = 0; i < 600; ++i) {
        const std::string name = "p" + std::to_string(i);
        ldif +=
            "dn: cn=" + name + ",dc=example,dc=com\nobjectClass: person\ncn: " + name + "\nsn: x\n";
        ldif += i == 0 ? "userPassword: pass\n\n" : "\n";
    }
    Add(ldif);
    const std::vector<std::string> search = {"-LLL", "-b", "dc=example,dc=com", "(sn=x)", "1.1"};
    const auto run = [&](std::vector<std::string> command) {
        command.insert(command.end(), search.begin(), search.end());
        return rig::RunProgram(command).exit_code;
    };
    EXPECT_EQ(run({"ldapsearch", "-x", "-H", "ldap://localhost"}), 4);
    EXPECT_EQ(run({"ldapsearch", "-x", "-H", "ldap://localhost", "-D", "cn=p0,dc=example,dc=com",
                   "-w", "pass"}),
              0);
}

TEST_F(LdapServer, HasAnIndexForEverythingThatAccountsAreFoundBy) {
    Configure();
    ASSERT_EQ(ZAFOLDAPConfSetOne(kConf.c_str(), kTemplate.c_str(), "loglevel", "any", 0), 0);
    const NewLog log;
    Start();
    Add(kBase);
    const std::vector<std::string> indexed = {"(objectClass=posixAccount)",
                                              "(uid=anna)",
                                              "(uid=an*)",
                                              "(uid=*)",
                                              "(cn=*)",
                                              "(uid=*na*)",
                                              "(cn=anna)",
                                              "(cn=an*)",
                                              "(uidNumber=1000001)",
                                              "(uidNumber>=1000000)",
                                              "(gidNumber=1000001)",
                                              "(memberUid=anna)",
                                              "(member=cn=anna,dc=example,dc=com)",
                                              "(mail=*@example.com)",
                                              "(sn=m*)",
                                              "(displayName=a*)",
                                              "(givenName=a*)",
                                              "(ou=people)",
                                              "(sambaSID=S-1-5-21-1)",
                                              "(sambaPrimaryGroupSID=S-1-5-21-1)",
                                              "(sambaGroupType=2)",
                                              "(sambaSIDList=S-1)",
                                              "(sambaDomainName=EXAMPLE)",
                                              "(automountMapName=auto.home)",
                                              "(automountKey=anna)",
                                              "(entryUUID=ce8750f6-79ed-1041-9390-09d75f16ee6f)"};
    const auto search = [](const std::string &filter) {
        EXPECT_EQ(Client({"ldapsearch", "-b", "dc=example,dc=com", filter, "1.1"}).exit_code, 0)
            << filter;
    };
    for (const std::string &filter : indexed)
        search(filter);
    log.WaitUntil("all are indexed");
    EXPECT_FALSE(log.Has("not indexed"));
    search("(description=x)");
    log.WaitUntil("one is not");
    EXPECT_TRUE(log.Has("(description) not indexed"));
}

TEST_F(LdapServer, KeepsAccountsOfMacintoshes) {
    Configure();
    Start();
    Add(kBase +
        "dn: uid=anna,dc=example,dc=com\nobjectClass: inetOrgPerson\nobjectClass: "
        "posixAccount\nobjectClass: apple-user\nuid: anna\ncn: anna\nsn: x\nuidNumber: 1\n"
        "gidNumber: 1\nhomeDirectory: /home/anna\napple-generateduid: 1\ngecos: Zo\303\253\n");
}

TEST_F(LdapServer, StoresPasswordsThatTheSystemCanCheck) {
    Configure();
    Start();
    Add(kBase + "dn: cn=anna,dc=example,dc=com\nobjectClass: person\ncn: anna\nsn: x\n");
    ASSERT_EQ(Client({"ldappasswd", "-s", "neu", "cn=anna,dc=example,dc=com"}).exit_code, 0);
    ASSERT_EQ(QLIBServiceStop("ldap-server", 0), 0);
    EXPECT_THAT(Shell("slapcat -f " + kConf +
                      " -o ldif_wrap=no -a '(cn=anna)' | sed -n "
                      "'s/^userPassword:: //p' | base64 -d"),
                StartsWith("{CRYPT}$6$rounds=20000$"));
}

class LdapServerLog : public LdapServer, public testing::WithParamInterface<const char *> {};

TEST_P(LdapServerLog, ShowsNoPassword) {
    const NewLog log;
    Configure("root-word");
    ASSERT_EQ(ZAFOLDAPConfSetOne(kConf.c_str(), kTemplate.c_str(), "loglevel", GetParam(), 0), 0);
    Start();
    Add(kBase +
        "dn: cn=anna,dc=example,dc=com\nobjectClass: person\ncn: anna\nsn: x\n"
        "userPassword: {CRYPT}$6$clear$hash\n");
    ASSERT_EQ(Client({"ldappasswd", "-s", "new-word", "cn=anna,dc=example,dc=com"}).exit_code, 0);
    EXPECT_EQ(rig::RunProgram({"ldapwhoami", "-x", "-H", "ldap://localhost", "-D",
                               "cn=anna,dc=example,dc=com", "-w", "wrong-word"})
                  .exit_code,
              49);
    log.WaitUntil("passwords are over");
    EXPECT_TRUE(log.Has("slapd starting"));
    for (const char *secret : {"-word", "$6$", "CRYPT"})
        EXPECT_FALSE(log.Has(secret)) << secret;
}

INSTANTIATE_TEST_SUITE_P(Host, LdapServerLog, testing::Values("none", "stats"),
                         [](const auto &level) { return std::string(level.param); });

// --- Starts that fail ---------------------------------------------------------

// The single line printed by the start program.
std::string Reason() {
    const rig::ProgramRun run = StartProgram();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, MatchesRegex("ldap-server-start: [^\n]*\n"));
    EXPECT_FALSE(std::filesystem::exists(kServerPidFile)) << "nothing runs";
    return run.err;
}

TEST_F(LdapServer, WithoutAConfigurationSaysSo) {
    EXPECT_THAT(Reason(), HasSubstr(std::string(kConf) + " does not exist"));
}

TEST_F(LdapServer, WithABadConfigurationSaysWhere) {
    Configure();
    std::ofstream(kConf, std::ios::app) << "bogus\n";
    EXPECT_THAT(Reason(), HasSubstr("unknown directive <bogus>"));
    EXPECT_EQ(QLIBServiceStart("ldap-server", 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0xD100);
}

TEST_F(LdapServer, WithoutAccessRulesSaysSo) {
    Configure();
    std::filesystem::remove(kAccess);
    EXPECT_THAT(Reason(), HasSubstr(kAccess + " cannot be read"));
}

TEST_F(LdapServer, WhosePortIsTakenSaysWhich) {
    Configure();
    const rig::ExampleDirectory other("/tmp/other-directory", 389,
                                      {"--no-tls", "--variant", "minimal"});
    EXPECT_EQ(Reason(),
              "ldap-server-start: slapd does not start: port 389 is taken by another program\n");
}

TEST_F(LdapServer, ThatRunsAlreadyIsLeftAlone) {
    Configure();
    Start();
    const pid_t pid = QLIBCReadPidFile(kServerPidFile.c_str());
    const rig::ProgramRun run = StartProgram();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("already running"));
    EXPECT_EQ(QLIBCReadPidFile(kServerPidFile.c_str()), pid);
}

TEST_F(LdapServer, TakesNoOtherOption) {
    EXPECT_EQ(StartProgram("--certificates").err,
              "ldap-server-start: unknown option --certificates\n");
}

}  // namespace
}  // namespace zafo::test
