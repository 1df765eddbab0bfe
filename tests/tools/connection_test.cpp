// SPDX-License-Identifier: Apache-2.0
//
// Saved connections through the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/system_log.h"
#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;
using testing::Not;

class ConnectionCommand : public testing::Test {
  protected:
    ConnectionCommand() { ForgetConnections(); }

    static ProgramRun Add(const std::string &name, std::vector<std::string> more = {},
                          std::string_view input = "") {
        std::vector<std::string> line = {
            "connection", "add", name, "--uri", "ldap.example.com", "--base", "dc=example,dc=com"};
        line.insert(line.end(), more.begin(), more.end());
        return Zafoldap(line, input);
    }
};

TEST_F(ConnectionCommand, AddedConnectionIsListedAndShown) {
    ASSERT_EQ(
        Add("work", {"--bind-dn", "cn=reader,dc=x", "--password-stdin"}, "geheim\n").exit_code, 0);
    ASSERT_EQ(Add("public", {"--ssl", "off", "--login-suffix", "example.com"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"connection", "list", "--format", "csv"}).out,
              "name,servers,base,bind_dn,ssl,login_suffix,password_stored\n"
              "work,ldap.example.com,\"dc=example,dc=com\",\"cn=reader,dc=x\",start_tls,,yes\n"
              "public,ldap.example.com,\"dc=example,dc=com\",,off,example.com,no\n");
    EXPECT_EQ(Zafoldap({"connection", "list", "--format", "plain", "--fields", "name,ssl"}).out,
              "work\tstart_tls\npublic\toff\n");
    EXPECT_EQ(
        ZafoldapJson({"connection", "show", "work"}, 0)["data"].dump(),
        R"({"base":"dc=example,dc=com","bind_dn":"cn=reader,dc=x","login_suffix":null,"name":"work",)"
        R"("password_stored":true,"servers":["ldap.example.com"],"ssl":"start_tls"})");
}

TEST_F(ConnectionCommand, PasswordIsNowhereInClear) {
    SystemLog::Get().Clear();
    const ProgramRun run =
        Add("work", {"--bind-dn", "cn=r,dc=x", "--password-stdin"}, "s3cr3t-Wort\n");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const ProgramRun show = Zafoldap({"connection", "show", "work"});
    for (const std::string &text :
         {run.out + run.err, show.out + show.err, ReadFile(kConnections)}) {
        EXPECT_THAT(text, Not(HasSubstr("s3cr3t-Wort")));
    }
    for (const std::string &line : SystemLog::Get().Messages())
        EXPECT_THAT(line, Not(HasSubstr("s3cr3t-Wort")));
}

TEST_F(ConnectionCommand, EveryChangeIsOneLineInTheSystemLog) {
    SystemLog::Get().Clear();
    Add("work");
    Zafoldap({"connection", "edit", "work", "--ssl", "off"});
    Zafoldap({"connection", "delete", "work", "--yes"});
    EXPECT_THAT(
        SystemLog::Get().Messages(),
        testing::ElementsAre(
            HasSubstr("connection add: connection=work by=root keys=uri,basedn,ssl result=done"),
            HasSubstr("connection edit: connection=work by=root keys=ssl result=done"),
            HasSubstr("connection delete: connection=work by=root keys=- result=done")));
}

TEST_F(ConnectionCommand, AddDoesNotReplace) {
    Add("work");
    const std::string before = ReadFile(kConnections);
    const ProgramRun run = Add("work", {"--ssl", "off"});
    EXPECT_EQ(run.exit_code, 5);
    EXPECT_THAT(run.err, HasSubstr("zafoldap connection edit work"));
    EXPECT_EQ(ReadFile(kConnections), before);
}

TEST_F(ConnectionCommand, EditChangesWhatIsNamedAndKeepsTheRest) {
    Add("work", {"--bind-dn", "cn=r,dc=x", "--password-stdin", "--login-suffix", "example.com"},
        "pw");
    ASSERT_EQ(
        Zafoldap({"connection", "edit", "work", "--uri", "ldaps://b:1636", "--login-suffix", ""})
            .exit_code,
        0);
    const Json data = ZafoldapJson({"connection", "show", "work"}, 0)["data"];
    EXPECT_EQ(data["servers"], Json::array({"b:1636"}));
    EXPECT_EQ(data["ssl"], "on");
    EXPECT_EQ(data["login_suffix"], nullptr);
    EXPECT_EQ(data["bind_dn"], "cn=r,dc=x");
    EXPECT_EQ(data["password_stored"], true);
}

TEST_F(ConnectionCommand, EditToAnonymousForgetsThePassword) {
    Add("work", {"--bind-dn", "cn=r,dc=x", "--password-stdin"}, "pw");
    ASSERT_EQ(Zafoldap({"connection", "edit", "work", "--anonymous"}).exit_code, 0);
    EXPECT_THAT(ReadFile(kConnections), Not(HasSubstr("bindpw")));
    EXPECT_EQ(ZafoldapJson({"connection", "show", "work"}, 0)["data"]["bind_dn"], nullptr);
}

TEST_F(ConnectionCommand, DeleteNeedsAConfirmation) {
    Add("work");
    const ProgramRun run = Zafoldap({"connection", "delete", "work"}, "y\n");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_THAT(run.err, HasSubstr("--yes"));
    EXPECT_EQ(Zafoldap({"connection", "show", "work"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"connection", "rm", "work", "-n"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"connection", "show", "work"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"connection", "rm", "work", "-y"}).exit_code, 0);
    EXPECT_EQ(Zafoldap({"connection", "show", "work"}).exit_code, 3);
}

TEST_F(ConnectionCommand, DamagedFileIsReportedWithItsLineAndNeverRewritten) {
    const std::string damaged = "# mine\n[work]\nuri=a\nnonsense\n";
    WriteFile(kConnections, damaged);
    const std::vector<std::vector<std::string>> lines = {
        {"connection", "list"},
        {"connection", "show", "work"},
        {"connection", "add", "new", "--uri", "h", "--base", "dc=x"},
        {"connection", "edit", "work", "--ssl", "off"},
        {"connection", "delete", "work", "--yes"},
        {"connection", "check", "work"},
        {"search", "-c", "work"}};
    for (const auto &line : lines) {
        const ProgramRun run = Zafoldap(line);
        EXPECT_EQ(run.exit_code, 1) << run.out;
        EXPECT_THAT(run.err, HasSubstr(std::string(kConnections) + " is damaged at line 4"));
        EXPECT_THAT(run.err, HasSubstr("it has not been changed"));
    }
    EXPECT_EQ(ReadFile(kConnections), damaged);
}

TEST_F(ConnectionCommand, UndecipherablePasswordIsReported) {
    WriteFile(kConnections, "[work]\nuri=a\nbasedn=dc=x\nbinddn=cn=r\nbindpw=AAAA\n");
    const ProgramRun run = Zafoldap({"search", "-c", "work"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("cannot be deciphered"));
    EXPECT_THAT(run.err, HasSubstr("zafoldap connection edit work --ask-password"));
}

TEST_F(ConnectionCommand, BadInputIsRefusedBeforeAnythingIsWritten) {
    const std::pair<std::vector<std::string>, const char *> kCases[] = {
        {{"connection", "add", "../x", "--uri", "h", "--base", "dc=x"},
         "cannot be the name of a connection"},
        {{"connection", "add", std::string(65, 'a'), "--uri", "h", "--base", "dc=x"},
         "cannot be the name of a connection"},
        {{"connection", "add", "a]\n[b", "--uri", "h", "--base", "dc=x"},
         "cannot be the name of a connection"},
        {{"connection", "add", "x", "--uri", "h:port", "--base", "dc=x"}, "not a server address"},
        {{"connection", "add", "x", "--uri", "h", "--base", "example.com"}, "is not a DN"},
        {{"connection", "add", "x", "--uri", "h", "--base", ""}, "is not a DN"},
        {{"connection", "add", "x", "--uri", "ldaps://h", "--ssl", "off", "--base", "dc=x"},
         "conflicts with"},
        {{"connection", "add", "x", "--uri", "h", "--base", "dc=x", "--bind-dn", "cn=r"},
         "a password is needed"},
        {{"connection", "add", "x", "--uri", "h", "--base", "dc=x", "--password-stdin"},
         "--bind-dn"},
        {{"connection", "add", "x", "--uri", "h", "--base", "dc=x", "--login-suffix", "a\nb"},
         "--login-suffix"},
    };
    for (const auto &[line, message] : kCases) {
        const ProgramRun run = Zafoldap(line);
        EXPECT_EQ(run.exit_code, 2) << run.err;
        EXPECT_THAT(run.err, HasSubstr(message));
    }
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(ConnectionCommand, PasswordFileMustBePrivate) {
    const std::vector<std::string> with_file = {"--bind-dn", "cn=r,dc=x", "--password-file",
                                                "/tmp/pw"};
    WriteFile("/tmp/pw", "geheim\n", 0644);
    const ProgramRun open = Add("work", with_file);
    EXPECT_EQ(open.exit_code, 2);
    EXPECT_THAT(open.err, HasSubstr("chmod 600 /tmp/pw"));
    WriteFile("/tmp/pw", "geheim\n", 0600);
    EXPECT_EQ(Add("work", with_file).exit_code, 0);
}

TEST_F(ConnectionCommand, PasswordsThatCannotWorkAreRefused) {
    for (const std::string &password :
         {std::string(""), std::string("\n"), std::string("two\nlines"), std::string(1024, 'x'),
          std::string("zero\0byte", 9)}) {
        const ProgramRun run =
            Add("work", {"--bind-dn", "cn=r,dc=x", "--password-stdin"}, password);
        EXPECT_EQ(run.exit_code, 2) << password.size();
        EXPECT_THAT(run.err, HasSubstr("this password cannot be used"));
    }
}

TEST_F(ConnectionCommand, CheckSkipsWhatComesAfterAFailure) {
    Add("dead", {"--ssl", "off"});
    Zafoldap({"connection", "edit", "dead", "--uri", "127.0.0.1:1"});
    EXPECT_EQ(Zafoldap({"connection", "check", "dead"}).out,
              "ok       settings  \"dead\" in /usr/zafo/etc/private/ldapbrowser.conf\n"
              "ok       resolve   127.0.0.1 is 127.0.0.1\n"
              "failed   connect   cannot connect to 127.0.0.1 port 1: Connection refused\n"
              "skipped  tls\n"
              "skipped  chain\n"
              "skipped  names\n"
              "skipped  bind\n"
              "skipped  base\n"
              "skipped  users\n"
              "skipped  schema\n"
              "skipped  type\n"
              "skipped  pool\n");
    const Json document = ZafoldapJson({"connection", "check", "dead"}, 6);
    ASSERT_EQ(document["data"].size(), 12U);
    EXPECT_EQ(document["data"][2]["result"], "failed");
    EXPECT_EQ(document["data"][11]["result"], "skipped");
}

TEST_F(ConnectionCommand, DryRunSavesNothingAndRunsTheChecks) {
    const ProgramRun run =
        Zafoldap({"connection", "add", "x", "--uri", "127.0.0.1:1", "--base", "dc=x", "-n"});
    EXPECT_EQ(run.exit_code, 6);
    EXPECT_THAT(run.out, HasSubstr("SERVERS          127.0.0.1:1\n"));
    EXPECT_THAT(run.out, HasSubstr("failed   connect"));
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(ConnectionCommand, EveryCommandHasJsonAlsoForFailures) {
    ZafoldapJson({"connection", "list"}, 0);
    ZafoldapJson({"connection", "show", "none"}, 3);
    ZafoldapJson({"connection", "add", "x", "--uri", "h", "--base", "dc=x"}, 0);
    ZafoldapJson({"connection", "add", "x", "--uri", "h", "--base", "dc=x"}, 5);
    ZafoldapJson({"connection", "edit", "x", "--ssl", "off"}, 0);
    ZafoldapJson({"connection", "delete", "x"}, 2);
    ZafoldapJson({"connection", "delete", "x", "-y"}, 0);
    ZafoldapJson({"connection", "check", "x"}, 3);
    ZafoldapJson({"search"}, 3);
    ZafoldapJson({"search", "(bad"}, 2);
    ZafoldapJson({"entry", "show", "dc=x"}, 3);
    ZafoldapJson({"completion", "bash"}, 0);
    ZafoldapJson({"completion", "ksh"}, 2);
    ZafoldapJson({"nonsense"}, 2);
    ZafoldapJson({}, 2);
}

}  // namespace
