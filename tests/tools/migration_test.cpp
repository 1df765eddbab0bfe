// SPDX-License-Identifier: Apache-2.0
//
// Migration through the program, between a real server and the account files of the private root.
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <thread>

#include "tests/rig/system_log.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/on_terminal.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The crypt(5) hash of "Sesame-open-1".
constexpr const char *kHash = "$1$saltsalt$zDEupT1hDM1EubHpeJUWW/";
constexpr const char *kAccountFiles[] = {"/etc/passwd", "/etc/shadow", "/etc/group",
                                         "/etc/gshadow"};

class MigrateCommand : public AccountCommand {
  protected:
    MigrateCommand() {
        for (const char *file : kAccountFiles)
            before_.push_back(ReadFile(file));
    }
    ~MigrateCommand() override {
        for (size_t i = 0; i < before_.size(); ++i)
            WriteFile(kAccountFiles[i], before_[i]);
        std::filesystem::remove("/usr/zafo/etc/account.conf");
        std::filesystem::remove("/usr/zafo/etc/private/smbpasswd");
    }

    static void Append(const std::string &file, const std::string &line) {
        WriteFile(file, ReadFile(file) + line + "\n");
    }
    static void AddLocalGroup(const std::string &name, int gid, const std::string &members = "") {
        Append("/etc/group", name + ":x:" + std::to_string(gid) + ":" + members);
    }
    static void AddLocalUser(const std::string &name, int uid, int gid = 2000) {
        Append("/etc/passwd", name + ":x:" + std::to_string(uid) + ":" + std::to_string(gid) +
                                  ":User " + name + ":/home/" + name + ":/bin/sh");
        Append("/etc/shadow", name + ":" + kHash + ":19000:0:99999:7:::");
    }
    void AddDirectoryUser(const std::string &name, int uid, int gid,
                          const std::string &password) const {
        directory_.Change(
            "dn: " + UserDN(name) +
            "\nchangetype: add\nobjectClass: account\nobjectClass: posixAccount\nuid: " + name +
            "\ncn: " + name + "\nuidNumber: " + std::to_string(uid) +
            "\ngidNumber: " + std::to_string(gid) + "\nhomeDirectory: /home/" + name +
            "\nuserPassword: " + password + "\n");
    }
    static std::string LocalFiles() {
        std::string all;
        for (const char *file : kAccountFiles)
            all += ReadFile(file) + "\f";
        return all;
    }
    // Rows such as "anna added -".
    static std::vector<std::string> Rows(const Json &document) {
        std::vector<std::string> rows;
        for (const Json &row : document["data"]["accounts"]) {
            const Json &reason = row["reason"];
            rows.push_back(row["name"].get<std::string>() + " " + row["result"].get<std::string>() +
                           (reason.is_null() ? "" : ": " + reason.get<std::string>()));
        }
        return rows;
    }

  private:
    std::vector<std::string> before_;
};

TEST_F(MigrateCommand, CopiesUsersToTheDirectoryWithTheirPasswords) {
    AddLocalGroup("crew", 2000);
    AddLocalUser("anna", 2001);
    AddLocalUser("bob", 2002);
    ASSERT_EQ(Line("migrate groups --to directory --yes").exit_code, 0);
    EXPECT_THAT(Rows(LineJson("migrate users --to directory --yes")),
                ElementsAre("anna added", "bob added"));
    EXPECT_EQ(Value(UserDN("anna"), "uidNumber"), "2001");
    EXPECT_EQ(Value(UserDN("anna"), "gecos"), "User anna");
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), kPassword));
}

TEST_F(MigrateCommand, CopiesToThisSystemWithPasswordsAndMembers) {
    directory_.Change("dn: " + GroupDN("crew") +
                      "\nchangetype: add\nobjectClass: posixGroup\ncn: crew\ngidNumber: "
                      "2000\nmemberUid: anna\n");
    AddDirectoryUser("anna", 2001, 2000, std::string("{crypt}") + kHash);
    EXPECT_THAT(Rows(LineJson("migrate groups --to local --yes", 7)), Contains("crew added"));
    EXPECT_THAT(Rows(LineJson("migrate users --to local --yes")), ElementsAre("anna added"));
    EXPECT_THAT(ReadFile("/etc/group"), HasSubstr("\ncrew:x:2000:anna\n"));
    EXPECT_THAT(ReadFile("/etc/passwd"), HasSubstr("\nanna:x:2001:2000::/home/anna:/bin/sh\n"));
    EXPECT_THAT(ReadFile("/etc/shadow"), HasSubstr("\nanna:" + std::string(kHash) + ":"));
}

TEST_F(MigrateCommand, RunAgainFindsThatEverythingExists) {
    AddLocalUser("anna", 2001);
    ASSERT_EQ(Line("migrate users --to directory --yes").exit_code, 0);
    const std::string tree = Tree();
    const ProgramRun again = Line("migrate users --to directory");
    EXPECT_EQ(again.exit_code, 0) << again.err;
    EXPECT_THAT(again.err, HasSubstr("0 users added to the directory, 1 already there, 0 skipped"));
    EXPECT_EQ(Tree(), tree);
}

// The state left by a run that was killed between a user and its hashes.
TEST_F(MigrateCommand, RunAgainNamesUsersWithoutSambaHashes) {
    AddLocalGroup("crew", 2000);
    AddDirectoryUser("anna", 2001, 2000, std::string("{crypt}") + kHash);
    directory_.Change("dn: " + UserDN("anna") +
                      "\nchangetype: modify\nadd: objectClass\nobjectClass: sambaSamAccount\n-\n"
                      "add: sambaSID\nsambaSID: S-1-5-21-1-2-3-4\n-\n"
                      "add: sambaNTPassword\nsambaNTPassword: 0123456789ABCDEF0123456789ABCDEF\n");
    ASSERT_EQ(Line("migrate users --to local --yes").exit_code, 0);
    EXPECT_THAT(Rows(LineJson("migrate users --to local")), ElementsAre("anna there"));
    std::filesystem::remove("/usr/zafo/etc/private/smbpasswd");
    EXPECT_THAT(Rows(LineJson("migrate users --to local")),
                ElementsAre(HasSubstr("anna there: it has no Samba password on this system")));
}

TEST_F(MigrateCommand, DryRunSaysTheSameAndChangesNothing) {
    AddLocalGroup("crew", 2000);
    AddLocalUser("anna", 2001);
    AddLocalUser("bob", 2002);
    AddDirectoryUser("other", 2002, 2000, "{SSHA}x");
    const std::string tree = Tree();
    const Json to_directory = LineJson("migrate users --to directory --dry-run");
    EXPECT_THAT(Rows(to_directory),
                ElementsAre("anna add: its primary group 2000 is not in the directory",
                            "bob skipped: the number is taken by other"));
    EXPECT_EQ(to_directory["data"]["counts"],
              Json::parse(R"({"add":1,"there":0,"skipped":1,"refused":0})"));
    const std::string files = LocalFiles();
    EXPECT_THAT(Rows(LineJson("migrate users --to local -n")),
                ElementsAre("other skipped: the number is taken by bob"));
    EXPECT_EQ(Tree(), tree);
    EXPECT_EQ(LocalFiles(), files);
}

TEST_F(MigrateCommand, ReportsWhomItSkippedAndWhy) {
    AddLocalGroup("crew", 2000);
    AddLocalUser("taken", 2001);
    AddLocalUser("number", 2002);
    AddDirectoryUser("taken", 2003, 2000, "{crypt}!");
    AddDirectoryUser("other", 2002, 2000, "{crypt}!");
    AddDirectoryUser("lost", 2004, 4711, "{crypt}!");
    AddDirectoryUser("random", 2005, 2000, "{SSHA}1w9dBSTZ6RrVZ/9JXaqe1mMPJFSSAdHw");
    const ProgramRun run = Line("migrate users --to local --yes --json");
    EXPECT_EQ(run.exit_code, 7) << run.err;
    EXPECT_THAT(Rows(Json::parse(run.out)),
                ElementsAre("random added: the password is not a {crypt} hash: nobody can log in "
                            "with a password until one is set",
                            "taken skipped: the name is taken, with number 2001",
                            "other skipped: the number is taken by number",
                            "lost skipped: its primary group 4711 is not on this system; groupadd "
                            "-g 4711 NAME creates it"));
    EXPECT_EQ(ErrorOf(run)["key"], "zafoldap.migration_partial");
    EXPECT_THAT(ReadFile("/etc/shadow"), HasSubstr("\nrandom:!:"));
    EXPECT_THAT(Line("migrate users --to local -n").err, Not(HasSubstr("without a password")));
}

TEST_F(MigrateCommand, ReportsWhatTheOtherSideRefusesWhenItDoes) {
    AddLocalGroup("crew", 2000);
    AddDirectoryUser("low", 7777777, 2000, "{crypt}!");
    EXPECT_THAT(Rows(LineJson("migrate users --to local --yes", 1)),
                ElementsAre("low skipped: it was refused: the system log has the reason"));
}

TEST_F(MigrateCommand, EndsAtTheLimitOfLocalUsers) {
    AddLocalGroup("crew", 2000);
    for (int i = 1; i <= 4; ++i)
        AddDirectoryUser("u" + std::to_string(i), 2000 + i, 2000, "{crypt}!");
    WriteFile("/usr/zafo/etc/account.conf", "[limit]\nusers=2\n");
    EXPECT_THAT(Rows(LineJson("migrate users --to local --yes", 7)),
                ElementsAre("u1 added", "u2 added", "u3 skipped: no more local users are allowed",
                            "u4 skipped: no more local users are allowed"));
}

TEST_F(MigrateCommand, AsksBeforeItAddsAnything) {
    AddLocalUser("anna", 2001);
    const std::string tree = Tree();
    const ProgramRun run = Line("migrate users --to directory");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_THAT(run.err, HasSubstr("adding 1 user to the directory needs confirmation"));
    OnTerminal refused({"migrate", "users", "--to", "directory"});
    refused.Answer("Add 1 user to the directory? [y/N]", "n\n");
    EXPECT_EQ(refused.Finish(), 2) << refused.Seen();
    EXPECT_EQ(Tree(), tree);
    OnTerminal agreed({"migrate", "users", "--to", "directory"});
    agreed.Answer("Add 1 user to the directory? [y/N]", "y\n");
    EXPECT_EQ(agreed.Finish(), 0) << agreed.Seen();
    EXPECT_THAT(agreed.Seen(), HasSubstr("adding users: 0 of 1"));
    EXPECT_EQ(Value(UserDN("anna"), "uidNumber"), "2001");
}

TEST_F(MigrateCommand, ReportsItsProgressInLinesOrEvents) {
    AddLocalUser("anna", 2001);
    const ProgramRun lines = Line("migrate users --to directory --yes");
    EXPECT_THAT(lines.err,
                AllOf(HasSubstr("adding users: 0 of 1\n"), HasSubstr("adding users: 1 of 1")));
    AddLocalUser("bob", 2002);
    const ProgramRun events = Line("migrate users --to directory --yes --progress=json --json");
    EXPECT_EQ(events.err,
              "{\"event\":\"progress\",\"phase\":\"adding users\",\"done\":0,\"total\":1}\n"
              "{\"event\":\"progress\",\"phase\":\"adding users\",\"done\":1,\"total\":1}\n");
    EXPECT_EQ(Json::parse(events.out)["data"]["counts"]["added"], 1);
    AddLocalUser("carl", 2003);
    EXPECT_THAT(Line("migrate users --to directory --yes --progress none").err,
                Not(HasSubstr("adding")));
}

TEST_F(MigrateCommand, HasAllFormsOfAList) {
    AddLocalUser("anna", 2001);
    EXPECT_EQ(Line("migrate users --to directory -n -q --format plain --fields name,result").out,
              "anna\tadd\n");
    EXPECT_EQ(Line("migrate users --to directory -n -q --format csv --fields name,number").out,
              "name,number\nanna,2001\n");
    EXPECT_EQ(LineJson("migrate users --to directory -n --fields name")["data"]["accounts"],
              Json::parse(R"([{"name":"anna"}])"));
}

TEST_F(MigrateCommand, LogsEachAccountAndNeverShowsAHash) {
    AddLocalUser("anna", 2001);
    SystemLog::Get().Clear();
    const ProgramRun run = Line("migrate users --to directory --yes -vv");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(SystemLog::Get().Messages(),
                Contains(AllOf(HasSubstr("migrate users: connection=root by="),
                               HasSubstr("to=directory name=\"anna\" result=done"))));
    EXPECT_THAT(run.out + run.err, Not(HasSubstr("saltsalt")));
}

TEST_F(MigrateCommand, NeedsTheDirectoryBeforeItAsks) {
    AddLocalUser("anna", 2001);
    directory_.Stop();
    const ProgramRun run = Line("migrate users --to directory --yes");
    directory_.Start();
    EXPECT_EQ(run.exit_code, 6) << run.err;
    EXPECT_THAT(run.out, IsEmpty());
}

TEST_F(MigrateCommand, IsForRootOnly) {
    const ProgramRun run = RunProgram({"setpriv", "--reuid=65534", "/usr/zafo/bin/zafoldap",
                                       "migrate", "users", "--to", "local"});
    if (run.err.starts_with("setpriv"))
        GTEST_SKIP() << "no other user can be simulated here: " << run.err;
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_THAT(run.err, HasSubstr("zafoldap migrate must be run as root"));
}

TEST_F(MigrateCommand, RefusesOtherPlacesAndKinds) {
    EXPECT_EQ(Line("migrate users").exit_code, 2);
    EXPECT_EQ(Line("migrate users --to elsewhere").exit_code, 2);
    EXPECT_EQ(Line("migrate members --to local").exit_code, 2);
}

// Like Ctrl-C; what was added stays, and the next run continues.
TEST_F(MigrateCommand, StopsAtCtrlCAndContinuesTheNextTime) {
    constexpr int kUsers = 60;
    for (int i = 0; i < kUsers; ++i)
        AddLocalUser("u" + std::to_string(i), 3000 + i);
    OnTerminal run({"migrate", "users", "--to", "directory", "--yes"});
    run.Answer("adding users: 0 of 60", "");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    run.Answer("adding users", "\x03");
    EXPECT_EQ(run.Finish(), 130) << run.Seen();
    EXPECT_THAT(run.Seen(), HasSubstr("to continue: zafoldap migrate users --to directory"));
    const size_t added = directory_.Read("cn=users,dc=example,dc=com", "one").size();
    EXPECT_GT(added, 0U);
    EXPECT_LT(added, size_t{kUsers});
    for (const auto &file : std::filesystem::directory_iterator("/tmp"))
        EXPECT_NE(file.path().extension(), ".ldif") << file.path();
    const Json rest = LineJson("migrate users --to directory --yes");
    EXPECT_EQ(rest["data"]["counts"]["there"], added);
    EXPECT_EQ(rest["data"]["counts"]["added"], kUsers - added);
}

}  // namespace
