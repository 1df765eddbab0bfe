// SPDX-License-Identifier: Apache-2.0
//
// A server from set-up to reset, with the real slapd. The tests of this file share one, and each
// leaves it running as it was set up.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/on_terminal.h"
#include "tests/tools/server_fixture.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kSuffix = "dc=example,dc=com";
constexpr const char *kAdminDn = "cn=admin,dc=example,dc=com";
const std::string kEnable = std::string("enable --suffix ") + kSuffix;

// The first set-up of this process.
ProgramRun &FirstRun() {
    static ProgramRun run = ServerLine(kEnable + " --password-stdin");
    return run;
}

// Entries of the directory, read without the programs under test.
std::string Ask(const std::string &filter, const std::vector<std::string> &attributes = {"1.1"}) {
    WriteFile("/tmp/administrator", kServerPassword);
    std::vector<std::string> argv = {"/usr/bin/ldapsearch",
                                     "-LLL",
                                     "-ZZ",
                                     "-x",
                                     "-H",
                                     "ldap://localhost",
                                     "-D",
                                     kAdminDn,
                                     "-y",
                                     "/tmp/administrator",
                                     "-b",
                                     kSuffix,
                                     filter};
    argv.insert(argv.end(), attributes.begin(), attributes.end());
    return RunProgram(argv).out;
}

void Modify(const std::string &ldif) {
    WriteFile("/tmp/administrator", kServerPassword);
    const ProgramRun run = RunProgram({"/usr/bin/ldapmodify", "-ZZ", "-x", "-H", "ldap://localhost",
                                       "-D", kAdminDn, "-y", "/tmp/administrator"},
                                      ldif);
    ASSERT_EQ(run.exit_code, 0) << run.err;
}

class Server : public testing::Test {
  protected:
    Server() { EXPECT_EQ(FirstRun().exit_code, 0) << FirstRun().err; }
    ~Server() override {
        const ProgramRun run = ServerLine(kEnable + " --password-stdin");
        EXPECT_EQ(run.exit_code, 0) << run.err;
    }
};

TEST_F(Server, IsSetUpWithStepsAndAHintAndNothingOnStandardOutput) {
    EXPECT_EQ(FirstRun().out, "");
    EXPECT_THAT(FirstRun().err,
                AllOf(HasSubstr("enabling the service"), HasSubstr("zafoldap user add"),
                      HasSubstr("/usr/zafo/etc/ssl/ca.pem"), Not(HasSubstr(kServerPassword))));
}

TEST_F(Server, HasItsStatus) {
    const Json status = ServerLineJson("status")["data"];
    EXPECT_EQ(status["state"], "running");
    EXPECT_EQ(status["suffix"], kSuffix);
    EXPECT_EQ(status["admin_dn"], kAdminDn);
    EXPECT_EQ(status["enabled"], true);
    EXPECT_GT(status["pid"], 1);
    EXPECT_GT(status["database_bytes"], 4096);
    EXPECT_TRUE(status["since"].is_string());
    EXPECT_TRUE(status["certificate_ends"].is_string());
    EXPECT_EQ(status["starts_again"], true);
    EXPECT_EQ(status["crashes"], 0);
}

TEST_F(Server, AcceptsAccountsImmediately) {
    const ProgramRun added = Zafoldap({"user", "add", "anna", "--password-stdin"}, kServerPassword);
    EXPECT_EQ(added.exit_code, 0) << added.err;
    EXPECT_THAT(Ask("(uid=anna)", {"uidNumber"}), HasSubstr("uidNumber: 10000"));
    EXPECT_EQ(Zafoldap({"user", "delete", "anna", "--yes"}).exit_code, 0);
}

TEST_F(Server, IsHealthy) {
    const Json findings = ServerLineJson("check")["data"];
    EXPECT_EQ(findings.size(), 23U);
    for (const Json &row : findings) {
        if (!row["id"].get<std::string>().starts_with("backup-")) {
            EXPECT_EQ(row["severity"], "ok") << row;
        }
    }
}

TEST_F(Server, WithoutBackupsIsWarnedOf) {
    const Json document = ServerLineJson("check");
    EXPECT_EQ(Finding(document, "backup-destination")["severity"], "warning");
    EXPECT_EQ(Finding(document, "backup-schedule")["severity"], "warning");
    EXPECT_EQ(Finding(document, "backup-last")["severity"], "skipped");
}

TEST_F(Server, SetUpAgainHasNothingToDo) {
    const std::string before = TreeBelow({"/usr/zafo/etc"});
    const std::string pid = ReadFile("/var/run/slapd.pid");
    const ProgramRun run = ServerLine("enable --suffix 'DC=Example, dc=COM'");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.err, HasSubstr("nothing to do"));
    EXPECT_EQ(TreeBelow({"/usr/zafo/etc"}), before);
    EXPECT_EQ(ReadFile("/var/run/slapd.pid"), pid);
}

TEST_F(Server, SetUpAgainReportsAndRepairsDifferencesAndKeepsManualChanges) {
    const std::string rules = ReadFile(kRules);
    std::ofstream(kRules, std::ios::app) << "# by hand\n";
    std::ofstream(kSlapdConf, std::ios::app) << "# by hand as well\n";
    Modify("dn: cn=administrators,cn=groups,dc=example,dc=com\nchangetype: delete\n");
    ASSERT_EQ(ServerLine("stop").exit_code, 0);

    const ProgramRun dry = ServerLine(kEnable + " --dry-run");
    for (const char *text : {"administrators", "changed by hand", "is not running", "its template"})
        EXPECT_THAT(dry.out, HasSubstr(text));
    EXPECT_THAT(ReadFile(kRules), HasSubstr("# by hand"));

    const Json mended = ServerLineJson(kEnable)["data"];
    EXPECT_EQ(mended["first_time"], false);
    EXPECT_EQ(mended["differences"].size(), 4U) << mended;
    EXPECT_EQ(ReadFile(kRules), rules);
    EXPECT_EQ(ReadFile(std::string(kRules) + ".before"), rules + "# by hand\n");
    EXPECT_THAT(ReadFile(std::string(kSlapdConf) + ".before"), HasSubstr("# by hand as well"));
    EXPECT_THAT(Ask("(cn=administrators)"), HasSubstr("dn: cn=administrators"));
}

TEST_F(Server, TakesANewPasswordAndNoSecretReachesTheLog) {
    constexpr const char *kOther = "Another-open-2";
    const ProgramRun run = ServerLine(kEnable + " --password-stdin", kOther);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.err, HasSubstr("differs: the administrator has another password"));
    EXPECT_EQ(Ask("(uid=admin)"), "");  // with the old one
    EXPECT_EQ(Zafoldap({"user", "list"}).exit_code, 0);
    EXPECT_EQ(ServerLine(kEnable + " --password-stdin").exit_code, 0);
    EXPECT_THAT(Ask("(uid=admin)"), HasSubstr("dn: uid=admin"));
    EXPECT_THAT(ReadFile("/var/log/messages"),
                AllOf(HasSubstr("enable: service=ldap-server by=root suffix=\"dc=example,dc=com\""),
                      HasSubstr("changed=password result=done"), Not(HasSubstr(kOther)),
                      Not(HasSubstr(kServerPassword))));
}

TEST_F(Server, StartsAndStopsAndSaysSo) {
    EXPECT_THAT(ServerLine("start").err, HasSubstr("already running"));
    EXPECT_EQ(ServerLineJson("stop")["data"]["changed"], true);
    EXPECT_EQ(ServerLineJson("stop")["data"]["changed"], false);
    const ProgramRun status = ServerLine("status --json");
    EXPECT_EQ(status.exit_code, 3);
    EXPECT_EQ(Json::parse(status.out)["data"]["state"], "stopped");
    EXPECT_EQ(ServerLineJson("restart")["data"]["state"], "running");
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

TEST_F(Server, ThatRunsWithoutBeingEnabledIsReportedAndRepaired) {
    std::filesystem::remove("/usr/zafo/etc/service/ldap-server.enabled");
    const Json status = ServerLineJson("status")["data"];
    EXPECT_EQ(status["state"], "running");
    EXPECT_EQ(status["enabled"], false);
    EXPECT_EQ(status["starts_again"], false);
    const Json document = ServerLineJson("check", 1);
    EXPECT_EQ(Finding(document, "enabled")["severity"], "error");
    EXPECT_EQ(Finding(document, "restart")["severity"], "warning");
    const Json differences = ServerLineJson(kEnable)["data"]["differences"];
    ASSERT_EQ(differences.size(), 1U) << differences;
    EXPECT_EQ(differences[0]["id"], "enabled");
}

TEST_F(Server, DoesNotStartOnAPortThatIsTaken) {
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    const ChangedFile settings("/usr/zafo/etc/service/ldap-server.conf",
                               "listen=ldap://127.0.0.1:1389\n");
    const ExampleDirectory other("/var/lib/other", 1389, {"--no-tls", "--variant", "posix"});
    const ProgramRun run = ServerLine("start");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("port 1389 is in use"));
}

TEST_F(Server, ThatDoesNotStartSaysWhy) {
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    const ChangedFile rules(kRules, "access to nonsense\n");
    const ProgramRun run = ServerLine("start");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, AllOf(HasSubstr("does not start"), HasSubstr("slapd-acls.conf")));
    const Json document = ServerLineJson("check", 1);
    EXPECT_EQ(Finding(document, "configuration")["severity"], "error");
    EXPECT_EQ(Finding(document, "access-rules")["severity"], "warning");
}

TEST_F(Server, IsCheckedAlsoWhileItIsDown) {
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    const Json document = ServerLineJson("check", 1);
    EXPECT_EQ(Finding(document, "running")["severity"], "error");
    EXPECT_EQ(Finding(document, "answer")["severity"], "skipped");
    for (const char *id : {"certificate-chain", "database-space", "id-pool-uid", "writers"})
        EXPECT_EQ(Finding(document, id)["severity"], "ok") << Finding(document, id);
}

TEST_F(Server, RulesChangedByHandAreAWarning) {
    const ChangedFile rules(kRules, ReadFile(kRules) + "# by hand\n");
    const Json found = Finding(ServerLineJson("check"), "access-rules");
    EXPECT_EQ(found["severity"], "warning");
    EXPECT_THAT(found["fix"].get<std::string>(), HasSubstr("zafoldapserver acl show"));
    const Json shown = ServerLineJson("acl show")["data"];
    EXPECT_EQ(shown["state"], "changed by hand");
    EXPECT_THAT(shown["text"].get<std::string>(), HasSubstr("# by hand"));
}

TEST_F(Server, ShowsItsConfigurationWithoutThePassword) {
    const ProgramRun run = ServerLine("config show --format csv");
    EXPECT_THAT(run.out, AllOf(HasSubstr("suffix"), HasSubstr("rootpw,(not shown)"),
                               Not(HasSubstr("{SSHA}")), Not(HasSubstr("{CRYPT}$"))));
}

TEST_F(Server, ShowsNoPasswordOfAReplicationEither) {
    const std::string conf = ReadFile(kSlapdConf);
    std::ofstream(kSlapdConf, std::ios::app)
        << "syncrepl rid=1 credentials=hidden1 provider=ldap://x\n"
           "syncrepl rid=2\n\tcredentials=\"hidden 2\" retry=3\n";
    const ProgramRun run = ServerLine("config show --format csv");
    std::ofstream(kSlapdConf) << conf;
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("credentials=(not shown) provider"),
                      HasSubstr("credentials=(not shown) retry"), Not(HasSubstr("hidden"))));
}

TEST_F(Server, TakesNoPasswordFromAConnectionThatLeadsElsewhere) {
    const std::string saved = ReadFile(kConnections);
    ASSERT_EQ(Zafoldap({"connection", "edit", "root", "--base", "dc=elsewhere"}).exit_code, 0);
    const ProgramRun run = ServerLine(kEnable);
    WriteFile(kConnections, saved);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_THAT(run.err, HasSubstr("a password is needed"));
}

TEST_F(Server, IsChangedByOneProcessAtATime) {
    const int lock = open("/var/run/zafoldapserver.lock", O_RDWR | O_CLOEXEC);
    ASSERT_GE(lock, 0);
    ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    for (const char *line : {"stop", "restart", "reset --yes"})
        EXPECT_EQ(ServerLine(line).exit_code, 8) << line;
    close(lock);
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

TEST_F(Server, ThatCrashesIsCountedAndReported) {
    const int before = ServerLineJson("status")["data"]["pid"];
    kill(before, SIGSEGV);
    const auto pid = [] { return Json::parse(ServerLine("status --json").out)["data"]["pid"]; };
    for (int i = 0; i < 200 && (pid() == before || pid().is_null()); ++i)
        usleep(50'000);
    EXPECT_EQ(ServerLineJson("status")["data"]["crashes"], 1);
    const Json found = Finding(ServerLineJson("check"), "crashes");
    EXPECT_EQ(found["severity"], "warning");
    EXPECT_THAT(found["cause"].get<std::string>(),
                AllOf(HasSubstr("once"), HasSubstr("signal 11 (Segmentation fault)")));
    std::filesystem::remove("/run/zafo-service/ldap-server.ends");
}

TEST_F(Server, WhoseKeeperHasGoneIsReportedAndRepaired) {
    std::ifstream record("/run/zafo-service/ldap-server");
    std::string word;
    for (int i = 0; i < 3; ++i)
        record >> word;
    kill(std::stoi(word), SIGKILL);
    for (int i = 0; i < 200 && std::filesystem::exists("/proc/" + word); ++i)
        usleep(10'000);
    EXPECT_EQ(ServerLineJson("status")["data"]["starts_again"], false);
    EXPECT_THAT(ServerLine("status").err, HasSubstr("nothing restarts the server"));
    const Json found = Finding(ServerLineJson("check"), "restart");
    EXPECT_EQ(found["severity"], "warning");
    EXPECT_EQ(found["fix"], "zafoldapserver restart");
    EXPECT_EQ(ServerLine("restart").exit_code, 0);
    EXPECT_EQ(Finding(ServerLineJson("check"), "restart")["severity"], "ok");
}

TEST_F(Server, APoolThatIsNearlyUsedUpIsAWarning) {
    const auto highest = [](const std::string &number) {
        Modify(
            "dn: cn=MaxID,cn=zafoconf,dc=example,dc=com\nchangetype: modify\nreplace: "
            "gidNumber\ngidNumber: " +
            number + "\n");
    };
    highest("1000002");
    const Json found = Finding(ServerLineJson("check", 1), "id-pool-gid");
    highest("2097151");
    EXPECT_EQ(found["severity"], "error");
    EXPECT_THAT(found["cause"].get<std::string>(), HasSubstr("0 of 3 numbers are free"));
}

TEST_F(Server, SeveralServersToWriteToAreAWarning) {
    const std::string saved = ReadFile(kConnections);
    ASSERT_EQ(
        Zafoldap({"connection", "edit", "root", "--uri", "localhost", "--uri", "other.example.com"})
            .exit_code,
        0);
    const Json found = Finding(ServerLineJson("check"), "writers");
    WriteFile(kConnections, saved);
    EXPECT_EQ(found["severity"], "warning");
    EXPECT_THAT(found["cause"].get<std::string>(), HasSubstr("other.example.com"));
}

// The state after someone was deleted by other means, or listed in advance.
TEST_F(Server, WithoutItsOperatorsOrWithAMissingOneIsAnError) {
    EXPECT_EQ(Finding(ServerLineJson("check"), "operators")["severity"], "ok");
    const std::string group = "dn: cn=Directory Operators,cn=groups,dc=example,dc=com\n";
    Modify(group + "changetype: modify\nadd: memberUid\nmemberUid: Nobody-yet\n");
    const Json stale = Finding(ServerLineJson("check", 1), "operators");
    EXPECT_EQ(stale["severity"], "error");
    EXPECT_THAT(stale["cause"].get<std::string>(),
                HasSubstr("lists Nobody-yet, but there is no such user"));
    EXPECT_EQ(stale["fix"], "zafoldap member remove 'Directory Operators' 'Nobody-yet'");
    EXPECT_EQ(Zafoldap({"member", "remove", "Directory Operators", "Nobody-yet"}).exit_code, 0);
    EXPECT_EQ(Finding(ServerLineJson("check"), "operators")["severity"], "ok");
    EXPECT_EQ(Zafoldap({"group", "rename", "Directory Operators", "others"}).exit_code, 0);
    const Json missing = Finding(ServerLineJson("check", 1), "operators");
    EXPECT_THAT(missing["cause"].get<std::string>(), HasSubstr("is missing"));
    EXPECT_EQ(
        Zafoldap({"group", "rename", "others", "Directory Operators", "--any-name"}).exit_code, 0);
    EXPECT_EQ(Finding(ServerLineJson("check"), "operators")["severity"], "ok");
}

TEST_F(Server, PublishesHomeFolders) {
    EXPECT_EQ(ServerLineJson("automount show")["data"].size(), 0U);
    EXPECT_EQ(ServerLine("automount set nas.example.com /volume1/homes --dry-run").exit_code, 0);
    EXPECT_EQ(ServerLineJson("automount show")["data"].size(), 0U);
    EXPECT_EQ(ServerLine("automount set nas.example.com /volume1/homes").exit_code, 0);
    const ProgramRun run = ServerLine("automount show --format plain");
    EXPECT_THAT(run.out, HasSubstr("auto_home\t*\t-fstype=nfs nas.example.com:/volume1/homes/&"));
    EXPECT_EQ(ServerLine("automount set 'na s' /homes").exit_code, 2);
    EXPECT_EQ(ServerLine("automount set nas homes").exit_code, 2);
}

TEST_F(Server, EveryCommandThatOnlyLooksHasJson) {
    for (const char *line : {"status", "acl show", "config show", "automount show", "check"}) {
        SCOPED_TRACE(line);
        EXPECT_FALSE(ServerLineJson(line)["data"].empty());
    }
}

// A self-signed certificate for this name.
std::string SelfSigned(const std::string &name, const std::string &days) {
    const ProgramRun run =
        RunProgram({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                    "/tmp/key", "-out", "/tmp/certificate", "-days", days, "-subj", "/CN=" + name,
                    "-addext", "subjectAltName=DNS:" + name});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return ReadFile("/tmp/certificate");
}

// A certificate that expired long ago: only openssl's ca(1) accepts dates in the past.
std::string Ended() {
    const std::string folder = "/tmp/ended/";
    std::filesystem::create_directory(folder);
    WriteFile(folder + "index", "");
    WriteFile(folder + "serial", "01\n");
    WriteFile(folder + "conf",
              "[ca]\ndefault_ca=d\n[d]\ndatabase=" + folder + "index\nnew_certs_dir=" + folder +
                  "\nserial=" + folder +
                  "serial\ndefault_md=sha256\npolicy=p\n[p]\ncommonName=supplied\n");
    const ProgramRun request =
        RunProgram({"/usr/bin/openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout",
                    folder + "key", "-subj", "/CN=zafo", "-out", folder + "request"});
    EXPECT_EQ(request.exit_code, 0) << request.err;
    const ProgramRun run = RunProgram(
        {"/usr/bin/openssl", "ca", "-batch", "-selfsign", "-notext", "-config", folder + "conf",
         "-keyfile", folder + "key", "-in", folder + "request", "-out", folder + "certificate",
         "-startdate", "20200101000000Z", "-enddate", "20200201000000Z"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return ReadFile(folder + "certificate");
}

TEST_F(Server, ACertificateOfAnotherIssuerForAnotherHostIsReportedInTheClientsWords) {
    const ChangedFile certificate(kServerCertificate, SelfSigned("other.example.com", "10"));
    const Json document = ServerLineJson("check", 1);
    const auto cause = [&](const char *id) {
        return Finding(document, id)["cause"].get<std::string>();
    };
    EXPECT_THAT(cause("certificate-chain"),
                HasSubstr("certificate of CN = other.example.com: self-signed certificate"));
    EXPECT_THAT(cause("certificate-names"), HasSubstr("hostname mismatch for localhost and"));
    EXPECT_EQ(Finding(document, "certificate-end")["severity"], "warning");
    EXPECT_EQ(Finding(document, "answer")["severity"], "ok");  // the old one is still served
}

TEST_F(Server, AnExpiredCertificateIsAnError) {
    const ChangedFile certificate(kServerCertificate, Ended());
    const Json found = Finding(ServerLineJson("check", 1), "certificate-end");
    EXPECT_EQ(found["severity"], "error");
    EXPECT_THAT(found["cause"].get<std::string>(),
                HasSubstr("certificate has expired, on 2020-02-01"));
}

TEST_F(Server, ACertificateThatClientsRefuseIsAnErrorOfTheAnswerToo) {
    const std::string certificate = ReadFile(kServerCertificate), key = ReadFile(kServerKey);
    std::ofstream(kServerCertificate) << SelfSigned("other.example.com", "100");
    std::ofstream(kServerKey) << ReadFile("/tmp/key");  // owner and mode are unchanged
    EXPECT_EQ(ServerLine("restart").exit_code, 0);
    const Json found = Finding(ServerLineJson("check", 1), "answer");
    std::ofstream(kServerCertificate) << certificate;
    std::ofstream(kServerKey) << key;
    EXPECT_EQ(ServerLine("restart").exit_code, 0);
    EXPECT_EQ(found["severity"], "error");
    EXPECT_THAT(found["cause"].get<std::string>(), HasSubstr("an encrypted connection"));
}

TEST_F(Server, IsNotResetUnasked) {
    const std::string before = TreeBelow({"/usr/zafo/etc"});
    const ProgramRun run = ServerLine("reset");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("dc=example,dc=com with 1 user and 3 groups"),
                               HasSubstr("add --yes")));
    EXPECT_EQ(ServerLine("reset --dry-run").exit_code, 0);
    OnTerminal program({"reset"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("to continue: ", "yes\n");
    EXPECT_EQ(program.Finish(), 2);
    EXPECT_EQ(TreeBelow({"/usr/zafo/etc"}), before);
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

TEST_F(Server, OfAnotherSuffixNeedsAResetFirst) {
    const ProgramRun run = ServerLine("enable --suffix dc=other,dc=org");
    EXPECT_EQ(run.exit_code, 5);
    EXPECT_THAT(run.err, AllOf(HasSubstr("belongs to dc=example,dc=com"),
                               HasSubstr("zafoldapserver reset")));
}

TEST_F(Server, IsGoneAfterAResetWhoseSuffixWasTyped) {
    OnTerminal program({"reset"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("to continue: ", "dc=example,dc=com\n");
    EXPECT_EQ(program.Finish(), 0);
    EXPECT_EQ(ServerLine("status").exit_code, 4);
    EXPECT_FALSE(std::filesystem::exists(kSlapdConf));
    EXPECT_FALSE(std::filesystem::exists("/var/run/slapd.pid"));
    EXPECT_THAT(ReadFile("/var/log/messages"),
                HasSubstr("reset: service=ldap-server by=root suffix=\"dc=example,dc=com\" "
                          "users=1 groups=3 result=done"));
}

}  // namespace
