// SPDX-License-Identifier: Apache-2.0
//
// What setting up the server exposes to attackers, now and on a machine set up by an earlier
// version: the programs, with the real slapd.
#include <sys/stat.h>

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/attack/stranger.h"
#include "tests/tools/server_fixture.h"

namespace zafo::rig {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kSuffix = "dc=example,dc=com";
constexpr const char *kAdminDn = "cn=admin,dc=example,dc=com";
constexpr const char *kTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
const std::string kEnable = std::string("enable --suffix ") + kSuffix;
constexpr int kInvalidCredentials = 49;
constexpr int kInsufficientAccess = 50;

ProgramRun &FirstRun() {
    static ProgramRun run = ServerLine(kEnable + " --password-stdin");
    return run;
}

class EnabledServer : public testing::Test {
  protected:
    EnabledServer() { EXPECT_EQ(FirstRun().exit_code, 0) << FirstRun().err; }
};

ProgramRun As(const std::string &dn, const std::string &password, std::vector<std::string> words,
              const std::string &input = "") {
    WriteFile("/tmp/password", password);
    const std::vector<std::string> connection{"-x", "-ZZ", "-H", "ldap://localhost",
                                              "-D", dn,    "-y", "/tmp/password"};
    words.insert(words.begin() + 1, connection.begin(), connection.end());
    return RunProgram(words, input);
}

ProgramRun AsAdministrator(const std::vector<std::string> &words, const std::string &input = "") {
    return As(kAdminDn, kServerPassword, words, input);
}

const std::string kEntryAtTheAdministratorsDn =
    "dn: cn=Admin, dc=example,dc=com\nchangetype: add\nobjectClass: "
    "organizationalRole\nobjectClass: "
    "simpleSecurityObject\ncn: admin\nuserPassword: planted\n";

class EntryAtTheAdministratorsDn : public EnabledServer {
  protected:
    EntryAtTheAdministratorsDn() {
        const ProgramRun run = AsAdministrator({"ldapmodify"}, kEntryAtTheAdministratorsDn);
        EXPECT_EQ(run.exit_code, 0) << run.err;
    }
    ~EntryAtTheAdministratorsDn() override {
        EXPECT_EQ(Zafoldap({"entry", "delete", kAdminDn, "--yes"}).exit_code, 0);
    }
};

TEST_F(EntryAtTheAdministratorsDn, CannotBeUsedToLogIn) {
    EXPECT_EQ(As(kAdminDn, "planted", {"ldapwhoami"}).exit_code, kInvalidCredentials);
}

TEST_F(EntryAtTheAdministratorsDn, IsAnErrorForCheck) {
    const Json row = Finding(ServerLineJson("check", 1), "administrator-dn");
    EXPECT_EQ(row["severity"], "error");
    EXPECT_THAT(row["fix"].get<std::string>(), HasSubstr("zafoldap entry delete"));
}

TEST_F(EntryAtTheAdministratorsDn, IsRefusedByEnable) {
    const ProgramRun run = ServerLine(kEnable + " --password-stdin");
    EXPECT_EQ(run.exit_code, 5);
    EXPECT_THAT(run.err, HasSubstr("an entry with the administrator's DN"));
}

TEST_F(EnabledServer, HasNoEntryAtTheAdministratorsDn) {
    EXPECT_EQ(Finding(ServerLineJson("check", 0), "administrator-dn")["severity"], "ok");
}

TEST_F(EnabledServer, TakesNoAdministratorAmongTheAccounts) {
    const ProgramRun run = ServerLine(
        "enable --suffix dc=example,dc=com --admin-dn "
        "uid=boss,cn=users,dc=example,dc=com --password-stdin");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_THAT(run.err, HasSubstr("operators add accounts there"));
}

TEST_F(EnabledServer, KeepsNoSambaHashOfTheAdministratorsPassword) {
    const std::string admin =
        AsAdministrator({"ldapsearch", "-LLL", "-b", kSuffix, "(uid=admin)"}).out;
    EXPECT_THAT(admin, AllOf(HasSubstr("uid: admin"), Not(HasSubstr("sambaNTPassword")),
                             Not(HasSubstr("sambaLMPassword"))));
    EXPECT_THAT(FirstRun().err, HasSubstr("zafoldap user passwd admin"));
}

TEST_F(EnabledServer, KeepsASambaHashOfAnotherPassword) {
    ASSERT_EQ(Zafoldap({"user", "passwd", "admin", "--password-stdin"}, "Another-one-2").exit_code,
              0);
    ASSERT_EQ(ServerLine("stop").exit_code, 0);
    ASSERT_EQ(ServerLine(kEnable).exit_code, 0);
    EXPECT_THAT(AsAdministrator({"ldapsearch", "-LLL", "-b", kSuffix, "(uid=admin)"}).out,
                HasSubstr("sambaNTPassword"));
}

// Anyone who can open a lock file can hold it, and block its users forever.
TEST_F(EnabledServer, StartsWhileAStrangerHoldsWhatTheStrangerCanOpen) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const std::string lock = "/usr/zafo/etc/openldap/tls/.lock";
    ASSERT_EQ(chmod(lock.c_str(), 0644), 0);  // as an earlier version created it
    const ProgramRun stranger =
        RunProgram({"bash", "-c",
                    "setpriv --reuid 65534 --regid 65534 --clear-groups -- flock " + lock +
                        " sleep 300 >/dev/null 2>&1 & echo $!; sleep 0.5"});
    const ProgramRun run =
        RunProgram({"timeout", "100", "/usr/zafo/bin/zafoldapserver", "restart"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    struct stat facts {};
    ASSERT_EQ(stat(lock.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0600U);
    kill(std::stoi(stranger.out), SIGTERM);
}

// The rules do not get in the way of the job.
TEST_F(EnabledServer, IsManagedByAnOperatorWithTheProgram) {
    const auto run = [](std::vector<std::string> words, const char *input = "") {
        const ProgramRun done = Zafoldap(words, input);
        EXPECT_EQ(done.exit_code, 0) << words[0] << " " << words[1] << ": " << done.err;
    };
    run({"user", "add", "olga", "--groups", "Directory Operators", "--password-stdin"},
        "Olgas-secret-1");
    run({"connection", "add", "op", "--uri", "localhost", "--base", kSuffix, "--bind-dn",
         "uid=olga,cn=users,dc=example,dc=com", "--ssl", "start_tls", "--password-stdin"},
        "Olgas-secret-1");
    run({"user", "add", "anna", "-c", "op", "--full-name", "Anna Müller", "--mail",
         "anna@example.com", "--password-stdin"},
        "Annas-secret-1");
    run({"group", "add", "design", "-c", "op"});
    run({"member", "add", "design", "anna", "-c", "op"});
    run({"user", "passwd", "anna", "-c", "op", "--password-stdin"}, "Annas-secret-2");
    run({"user", "edit", "anna", "-c", "op", "--shell", "/bin/bash", "--full-name", "Anna M"});
    run({"user", "rename", "anna", "anna.m", "-c", "op"});
    EXPECT_EQ(
        As("uid=anna.m,cn=users,dc=example,dc=com", "Annas-secret-2", {"ldapwhoami"}).exit_code, 0);
    run({"user", "delete", "anna.m", "--yes", "-c", "op"});
    run({"group", "delete", "design", "--yes", "-c", "op"});
    run({"connection", "delete", "op", "--yes"});
    run({"user", "delete", "olga", "--yes"});
}

// --- A server that was set up by an earlier version ----------------------------------------

std::string Without(std::string text, const std::string &from, const std::string &to) {
    const size_t begin = text.find(from);
    const size_t end = to.empty() ? text.size() : text.find(to, begin);
    EXPECT_NE(begin, std::string::npos) << from;
    EXPECT_NE(end, std::string::npos) << to;
    return text.erase(begin, end - begin);
}

// The template before it had rules and overlays.
std::string EarlierTemplate() {
    std::string text = ReadFile(kTemplate);
    for (const char *word : {"moduleload constraint", "moduleload ppolicy", "moduleload unique",
                             "maxentrysize", "add_content_acl"})
        text = Without(text, word, "\n");
    text = Without(text, "# slapd applies the first rule", "# Before the database: rules");
    return Without(text, "# --- What may not be written", "");
}

std::string Database() {
    return RunProgram({"/usr/zafo/bin/slapcat"}).out;
}

int SetNumber(const std::string &name, const std::string &number) {
    return As("uid=olga,cn=users,dc=example,dc=com", "Olgas-secret-1", {"ldapmodify"},
              "dn: uid=" + name +
                  ",cn=users,dc=example,dc=com\nchangetype: modify\nreplace: "
                  "uidNumber\nuidNumber: " +
                  number + "\n")
        .exit_code;
}

TEST_F(EnabledServer, OfAnEarlierVersionGetsTheRulesByEnablingAgain) {
    ASSERT_EQ(ServerLine("reset --yes").exit_code, 0);
    {
        const ChangedFile earlier(kTemplate, EarlierTemplate());
        ASSERT_EQ(ServerLine(kEnable + " --password-stdin").exit_code, 0);
        ASSERT_EQ(
            Zafoldap({"user", "add", "olga", "--groups", "Directory Operators", "--password-stdin"},
                     "Olgas-secret-1")
                .exit_code,
            0);
        ASSERT_EQ(Zafoldap({"user", "add", "anna", "--password-stdin"}, "Annas-secret-1").exit_code,
                  0);
        EXPECT_EQ(SetNumber("anna", "0"), 0) << "as it was";
    }
    const std::string before = Database();
    const ProgramRun enabled = ServerLine(kEnable);
    EXPECT_EQ(enabled.exit_code, 0) << enabled.err;
    EXPECT_THAT(enabled.err, HasSubstr("slapd.conf differs from its template"));
    EXPECT_EQ(Database(), before);
    EXPECT_EQ(SetNumber("olga", "1"), kInsufficientAccess);
    EXPECT_THAT(ServerLine(kEnable).err, HasSubstr("nothing to do"));
}

}  // namespace
}  // namespace zafo::rig
