// SPDX-License-Identifier: Apache-2.0
//
// zafoldapserver on a machine without a server: what it refuses, and that a refusal changes
// nothing.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/on_terminal.h"
#include "tests/tools/server_fixture.h"
#include "tools/cli/command.h"
#include "tools/zafoldapserver/commands.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using zafo::cli::FullName;

constexpr const char *kTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
constexpr const char *kEnable = "enable --suffix dc=example,dc=com --password-stdin";

// Listens on a port of all addresses for its lifetime.
class Listening {
  public:
    explicit Listening(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(socket_, 1), 0);
    }
    ~Listening() { close(socket_); }
    Listening(const Listening &) = delete;
    Listening &operator=(const Listening &) = delete;

  private:
    int socket_;
};

class Refusal : public testing::Test {
  protected:
    Refusal() : before_(Tree()) {}

    static std::string Tree() { return TreeBelow({"/usr/zafo", "/var/run", "/tmp"}); }

    // Expects a failure with the code and the words, and that nothing has changed.
    static void ExpectRefusal(const std::string &line, int exit_code, const char *key,
                              const char *words, std::string_view input = kServerPassword) {
        SCOPED_TRACE(line);
        const std::string before = Tree();
        const ProgramRun run = ServerLine(line, input);
        EXPECT_EQ(run.exit_code, exit_code) << run.err;
        EXPECT_THAT(run.err, AllOf(HasSubstr(words), HasSubstr("\nhint: ")));
        EXPECT_EQ(Tree(), before);
        EXPECT_EQ(ErrorOf(ServerLine(line + " --json", input))["key"],
                  "zafoldap." + std::string(key));
    }

    std::string before_;
};

TEST_F(Refusal, OfNamesThatCannotBeWrittenEverywhere) {
    ExpectRefusal("enable --suffix ou=x,dc=com --password-stdin", 2, "suffix_bad",
                  "does not start with \"dc=\"");
    ExpectRefusal("enable --suffix 'dc=a\"b,dc=com' --password-stdin", 2, "suffix_bad",
                  "one of the characters");
    ExpectRefusal("enable --suffix nonsense --password-stdin", 2, "bad_dn", "is not a DN");
    ExpectRefusal("enable --suffix dc=x --admin-dn cn=admin,dc=y --password-stdin", 2,
                  "admin_dn_bad", "not below the suffix");
}

TEST_F(Refusal, OfPasswords) {
    ExpectRefusal(kEnable, 2, "password_bad", "it is empty", "");
    ExpectRefusal(kEnable, 2, "server_password", "fewer than 8 characters", "short");
    ExpectRefusal(kEnable, 2, "password_bad", "more than one line", "two lines\nof text");
    ExpectRefusal(kEnable, 2, "password_bad", "too long", std::string(1024, 'x'));
    ExpectRefusal("enable --suffix dc=example,dc=com", 2, "password_needed",
                  "a password is needed");
    ExpectRefusal(std::string(kEnable) + " --random-password", 2, "usage",
                  "cannot be used together");
}

TEST_F(Refusal, OfAPasswordFileThatOthersCanRead) {
    WriteFile("/root/password", kServerPassword, 0644);
    ExpectRefusal("enable --suffix dc=example,dc=com --password-file /root/password", 2,
                  "password_file_open", "can be read by others");
}

TEST_F(Refusal, OfAMissingSuffix) {
    ExpectRefusal("enable --password-stdin", 2, "usage", "--suffix is missing");
}

TEST_F(Refusal, OfEveryPortThatIsTaken) {
    for (const std::uint16_t port : {std::uint16_t{389}, std::uint16_t{636}}) {
        const Listening other(port);
        ExpectRefusal(kEnable, 1, "port_taken",
                      ("port " + std::to_string(port) + " is in use").c_str());
    }
}

TEST_F(Refusal, OfAConfiguredPortThatIsTaken) {
    const ChangedFile settings("/usr/zafo/etc/service/ldap-server.conf",
                               "listen=ldap://127.0.0.1:1389\n");
    const Listening other(1389), unused(636);
    ExpectRefusal(kEnable, 1, "port_taken", "port 1389 is in use");
}

TEST_F(Refusal, OfFoldersThatCannotBeWritten) {
    for (const char *folder : {"/usr/zafo/etc/private", "/usr/zafo/etc/openldap/data"}) {
        const MountedOver mounted(folder, "ro");
        if (!mounted.Mounted()) GTEST_SKIP() << "nothing can be mounted here";
        ExpectRefusal(kEnable, 1, "folder_unwritable", "Read-only file system");
    }
}

TEST_F(Refusal, OfAFileInPlaceOfAFolder) {
    std::filesystem::remove_all("/usr/zafo/etc/openldap/data");
    WriteFile("/usr/zafo/etc/openldap/data", "");
    ExpectRefusal(kEnable, 1, "folder_unwritable", "Not a directory");
    std::filesystem::remove("/usr/zafo/etc/openldap/data");
    std::filesystem::create_directory("/usr/zafo/etc/openldap/data");
}

TEST_F(Refusal, OfTooLittleSpace) {
    const MountedOver small("/usr/zafo/etc/openldap/data", "size=1m");
    if (!small.Mounted()) GTEST_SKIP() << "nothing can be mounted here";
    ExpectRefusal(kEnable, 1, "space_low", "not enough space");
}

TEST_F(Refusal, OfATemplateThatSlapdDoesNotAccept) {
    const ChangedFile broken(kTemplate, ReadFile(kTemplate) + "nonsense here\n");
    ExpectRefusal(kEnable, 1, "configuration_refused", "unknown directive <nonsense>");
}

TEST_F(Refusal, OfADatabaseWithAnUnknownSuffix) {
    const ChangedFile marker("/usr/zafo/etc/openldap/data/dn2id.bdb", "");
    ExpectRefusal(kEnable, 5, "other_database", "an unknown suffix");
}

TEST_F(Refusal, OfADatabaseOfAnotherSuffix) {
    const ChangedFile marker("/usr/zafo/etc/openldap/data/dn2id.bdb", "");
    const ChangedFile conf(kSlapdConf, "suffix dc=other,dc=org\nrootdn cn=admin,dc=other,dc=org\n");
    ExpectRefusal(kEnable, 5, "other_database", "belongs to dc=other,dc=org");
}

TEST_F(Refusal, OfAnyoneButRoot) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(77);
        _exit(Zafoldapserver({"enable", "--suffix", "dc=x", "--random-password"}).exit_code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no other user can be simulated here";
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_EQ(Tree(), before_);
}

TEST_F(Refusal, ADryRunSaysWhatItWouldWriteAndWritesNothing) {
    const ProgramRun run = ServerLine("enable --suffix dc=example,dc=com --dry-run");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("ok        slapd accepts the configuration"),
                               HasSubstr("writes    /usr/zafo/etc/openldap/slapd.conf"),
                               HasSubstr("admin DN  cn=admin,dc=example,dc=com")));
    const Json document = ServerLineJson("enable --suffix dc=example,dc=com --dry-run");
    EXPECT_EQ(document["data"]["first_time"], true);
    EXPECT_EQ(Tree(), before_);
}

TEST_F(Refusal, AnInterruptedQuestionChangesNothing) {
    OnTerminal program({"enable", "--suffix", "dc=example,dc=com"}, "/usr/zafo/bin/zafoldapserver");
    program.Answer("Password for cn=admin,dc=example,dc=com: ", "\x03");
    EXPECT_EQ(program.Finish(), 130);
    EXPECT_EQ(Tree(), before_);
}

TEST_F(Refusal, WithoutAServerThereIsNothingToRunOrShow) {
    for (const char *line : {"start", "stop", "restart", "reset --yes", "acl show", "config show",
                             "backup now", "backup now --dry-run"})
        ExpectRefusal(line, 4, "server_not_set_up", "not set up");
}

TEST_F(Refusal, StatusOfNothingIsFour) {
    const ProgramRun run = ServerLine("status --format plain --fields state");
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_EQ(run.out, "not set up\n");
    EXPECT_EQ(Tree(), before_);
}

TEST_F(Refusal, CheckOfNothingHasOneErrorAndSkipsTheRest) {
    const Json document = ServerLineJson("check", 1);
    EXPECT_EQ(Finding(document, "set-up")["severity"], "error");
    for (const Json &row : document["data"]) {
        // The debug switch concerns the machine, with or without a server.
        if (row["id"] != "set-up" && row["id"] != "debug-switch") {
            EXPECT_EQ(row["severity"], "skipped") << row["id"];
        }
    }
    EXPECT_EQ(Tree(), before_);
}

TEST_F(Refusal, EveryCommandOfTheTableHasJsonAlsoForFailures) {
    for (const zafo::cli::Command &command : zafo::cli::Zafoldapserver().commands) {
        std::string line = FullName(command);
        if (line == "status") continue;  // not a failure, whatever its exit code
        SCOPED_TRACE(line);
        for (const zafo::cli::Argument &argument : command.arguments)
            line += " " + std::string(argument.choices.empty() ? "x" : argument.choices.front());
        const ProgramRun run = ServerLine(line + " --json", "");
        ServerLineJson(line, run.exit_code, "");
    }
}

}  // namespace
