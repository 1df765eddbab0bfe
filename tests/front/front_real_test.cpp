// SPDX-License-Identifier: Apache-2.0
//
// The front with the real tools, and with a real server and TLS.
#include <crypt.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <optional>
#include <thread>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int kPlainPort = 10389;
constexpr int kTlsPort = 10636;
constexpr const char *kTrust = "/usr/zafo/etc/ssl/ca.pem";
const std::string kPlain = "ldap://localhost:" + std::to_string(kPlainPort);
const std::string kTls = "ldaps://localhost:" + std::to_string(kTlsPort);

rig::ToolOutcome RunFront(const std::string &tool, const Texts &arguments) {
    return rig::RunTool(Texts{Front(tool)} + arguments);
}

void Shell(const std::string &command) {
    const rig::ToolOutcome outcome =
        rig::RunTool({"/bin/bash", "-c", command}, {"PATH=/usr/bin:/usr/sbin"});
    if (outcome.status != 0) throw std::runtime_error(command + ": " + outcome.output);
}

void LimitSeconds(const std::string &answer, const std::string &network) {
    WriteFile("/usr/zafo/etc/tools.conf",
              "timeout " + answer + "\nnetwork_timeout " + network + "\n");
}

// A fresh database of the appliance's server, filled through slapadd.
class Database : public testing::Test {
  protected:
    static constexpr const char *kFolder = "/usr/zafo/etc/openldap/data";

    void SetUp() override {
        std::filesystem::remove_all(kFolder);
        std::filesystem::create_directories(kFolder);
        std::string text =
            "include /etc/ldap/schema/core.schema\nmodulepath /usr/lib/ldap\nmoduleload back_mdb\n";
        text += tls_;
        text += "database mdb\nsuffix \"o=x\"\nrootdn \"cn=admin,o=x\"\nrootpw geheim\ndirectory " +
                std::string(kFolder) + "\n";
        WriteFile("/usr/zafo/etc/openldap/slapd.conf", text, 0640);
        if (getpwnam("openldap") != nullptr) {
            Shell("chgrp openldap /usr/zafo/etc/openldap/slapd.conf; chown openldap:openldap " +
                  std::string(kFolder));
        }
        WriteFile("/tmp/front-test.ldif",
                  "dn: o=x\nobjectClass: organization\no: x\n\n"
                  "dn: cn=ann,o=x\nobjectClass: person\ncn: ann\nsn: Example\nuserPassword: old\n");
        const rig::ToolOutcome outcome =
            RunFront("slapadd", {"-b", "o=x", "-l", "/tmp/front-test.ldif"});
        ASSERT_EQ(outcome.status, 0) << outcome.output;
    }

    std::string tls_;
};

TEST_F(Database, IsLoadedFromAPrivateFileAndBelongsToTheServersUser) {
    const std::string path = std::string(kFolder) + "/data.mdb";
    struct stat facts {};
    ASSERT_EQ(stat(path.c_str(), &facts), 0);
    const passwd *account = getpwnam("openldap");
    EXPECT_EQ(facts.st_uid, account == nullptr ? geteuid() : account->pw_uid);
    EXPECT_EQ(facts.st_mode & 0777, 0600U);
    EXPECT_TRUE(std::filesystem::exists(std::string(kFolder) + "/dn2id.bdb"));
}

TEST_F(Database, IsReadBackBySlapcat) {
    const rig::ToolOutcome outcome = RunFront("slapcat", {"-a", "(entryDN:=cn=ann,o=x)"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("dn: cn=ann,o=x\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("dn: o=x\n")));
}

TEST_F(Database, IsIndexedBySlapindex) {
    const rig::ToolOutcome outcome = RunFront("slapindex", {});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
}

TEST_F(Database, IsReadInWholeLines) {
    WriteFile("/tmp/front-test.ldif", "dn: cn=long,o=x\nobjectClass: person\ncn: long\nsn: " +
                                          std::string(300, 's') + "\n");
    ASSERT_EQ(RunFront("slapadd", {"-b", "o=x", "-l", "/tmp/front-test.ldif"}).status, 0);
    EXPECT_THAT(RunFront("slapcat", {}).output, HasSubstr("sn: " + std::string(300, 's') + "\n"));
}

TEST_F(Database, IsProbedForADnWithAnUmlaut) {
    const std::string dn = "cn=M\303\274ller,o=x";
    WriteFile("/tmp/front-test.ldif",
              "dn: " + dn + "\nobjectClass: person\ncn: M\303\274ller\nsn: x\n");
    ASSERT_EQ(RunFront("slapadd", {"-b", "o=x", "-l", "/tmp/front-test.ldif"}).status, 0);
    EXPECT_THAT(RunFront("slapcat", {"-a", "(entryDN:=" + dn + ")"}).output,
                StartsWith("dn: " + dn + "\n"));
    EXPECT_THAT(RunFront("slapcat", {}).output, Not(HasSubstr(dn)));
}

TEST_F(Database, ThatGotNoEntryIsNotMarked) {
    std::filesystem::remove_all(kFolder);
    WriteFile("/tmp/front-test.ldif", "dn: cn=ann,o=y\nobjectClass: person\ncn: ann\nsn: x\n");
    EXPECT_NE(RunFront("slapadd", {"-b", "o=x", "-l", "/tmp/front-test.ldif"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(std::string(kFolder) + "/data.mdb"));
    EXPECT_FALSE(std::filesystem::exists(std::string(kFolder) + "/dn2id.bdb"));
}

TEST_F(Database, RefusesAFileThatIsMissing) {
    EXPECT_NE(RunFront("slapadd", {"-b", "o=x", "-l", "/tmp/absent.ldif"}).status, 0);
}

TEST_F(Database, ThatIsMissingGivesExitCode1AndNoText) {
    std::filesystem::remove_all(kFolder);
    const rig::ToolOutcome outcome =
        rig::RunTool({"/bin/bash", "-c", Front("slapcat") + " 2>/dev/null"});
    EXPECT_EQ(outcome.status, 1 << 8);
    EXPECT_EQ(outcome.output, "");
}

TEST(Slappasswd, HashesEverySecretToTheLetter) {
    for (const std::string secret :
         {"geheim", "with blank ", "z\303\266\303\253", "-w", "100%n", "a:b#c", "line\nbreak\n"}) {
        SCOPED_TRACE(secret);
        const rig::ToolOutcome outcome =
            RunFront("slappasswd", {"-h", "{CRYPT}", "-s", secret, "-c", "$1$%.2s"});
        EXPECT_EQ(outcome.status, 0);
        ASSERT_THAT(outcome.output,
                    testing::MatchesRegex("\\{CRYPT\\}\\$1\\$..\\$[./0-9A-Za-z]{22}\n"));
        const std::string hash = outcome.output.substr(7, outcome.output.size() - 8);
        EXPECT_EQ(crypt(secret.c_str(), hash.c_str()), hash);
    }
}

TEST(Slappasswd, RefusesAnEmptySecret) {
    const rig::ToolOutcome outcome =
        rig::RunTool({"/bin/bash", "-c", Front("slappasswd") + " -s '' 2>/dev/null"});
    EXPECT_EQ(outcome.status, 1 << 8);
    EXPECT_EQ(outcome.output, "");
}

TEST(Openssl, PrintsANumberForAListWithUnreadableFiles) {
    const std::string list =
        "file:/usr/zafo/etc/smb.conf:/etc/passwd:/etc/shadow:/etc/groups:/var/log/messages";
    for (const std::string &files : {list, std::string("/absent")}) {
        const rig::ToolOutcome outcome = RunFront("openssl", {"rand", "-rand", files, "-hex", "4"});
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_THAT(outcome.output, testing::MatchesRegex("[0-9a-f]{8}\n"));
    }
}

// Accepts connections and never answers.
class SilentServer {
  public:
    SilentServer() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(socket_, 16), 0);
        getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size);
        name_ = "://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~SilentServer() { close(socket_); }
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;

    const std::string &Name() const { return name_; }

  private:
    int socket_;
    std::string name_;
};

struct SilentRow {
    const char *name;
    const char *tool;
    Texts before;
    const char *scheme;
    Texts after;
};

class Silent : public testing::TestWithParam<SilentRow> {};

TEST_P(Silent, ServerEndsTheCallWithinTheLimits) {
    const SilentServer server;
    LimitSeconds("1", "1");
    const SilentRow &row = GetParam();
    const auto start = steady_clock::now();
    rig::RunningTool front(Texts{Front(row.tool)} + row.before + Texts{row.scheme + server.Name()} +
                           row.after);
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(15), status));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_NE(WEXITSTATUS(status), 0);
    EXPECT_GE(steady_clock::now() - start, milliseconds(900));
    EXPECT_LT(steady_clock::now() - start, seconds(4));
    std::filesystem::remove("/usr/zafo/etc/tools.conf");
}

INSTANTIATE_TEST_SUITE_P(
    Front, Silent,
    testing::Values(
        SilentRow{"SearchPlain", "ldapsearch", {"-x", "-H"}, "ldap", {"-b", "o=x"}},
        SilentRow{"SearchStartTls", "ldapsearch", {"-x", "-H"}, "ldap", {"-Z", "-b", "o=x"}},
        SilentRow{"SearchTls", "ldapsearch", {"-x", "-H"}, "ldaps", {"-b", "o=x"}},
        SilentRow{"ModifyPlain",
                  "ldapmodify",
                  {"-x", "-H"},
                  "ldap",
                  {"-D", "cn=a", "-f", "/dev/null", "-w", "x"}},
        SilentRow{"ModifyTls",
                  "ldapmodify",
                  {"-x", "-H"},
                  "ldaps",
                  {"-D", "cn=a", "-f", "/dev/null", "-w", "x"}},
        SilentRow{"PasswordPlain", "ldappasswd", {"-x", "-H"}, "ldap", {"-s", "x", "cn=a"}}),
    [](const auto &row) { return std::string(row.param.name); });

// The appliance's server with a certificate from an authority created for the test.
class Server : public Database {
  protected:
    static void SetUpTestSuite() {
        Shell(
            "mkdir -p /tmp/tls && cd /tmp/tls &&"
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj "
            "/CN=ca -keyout ca.key -out ca.pem &&"
            "openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=localhost "
            "-keyout server.key -out server.csr &&"
            "printf 'subjectAltName=DNS:localhost,DNS:zafo,IP:127.0.0.1' >names &&"
            "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 "
            "-extfile names -out server.pem &&"
            "chmod 644 server.key");
    }

    static std::string TlsLines() {
        return "TLSCertificateFile /tmp/tls/server.pem\nTLSCertificateKeyFile "
               "/tmp/tls/server.key\n";
    }

    void Start(const std::string &tls) {
        tls_ = tls;
        Database::SetUp();
        std::filesystem::create_directories("/usr/zafo/etc/ssl");
        std::filesystem::copy_file("/tmp/tls/ca.pem", kTrust,
                                   std::filesystem::copy_options::overwrite_existing);
        Shell("chown -R --reference=" + std::string(kFolder) + " " + kFolder);
        Texts command = {"/usr/sbin/slapd",
                         "-d",
                         "0",
                         "-f",
                         "/usr/zafo/etc/openldap/slapd.conf",
                         "-h",
                         kPlain + (tls.empty() ? "" : " " + kTls)};
        if (geteuid() == 0 && getpwnam("openldap") != nullptr)
            command = command + Texts{"-u", "openldap", "-g", "openldap"};
        server_.emplace(command);
        for (int i = 0; i < 500; i++) {
            if (RunFront("ldapsearch", {"-x", "-H", kPlain, "-s", "base"}).status == 0) return;
            std::this_thread::sleep_for(milliseconds(10));
        }
        FAIL() << "the server does not answer";
    }

    void SetUp() override { Start(TlsLines()); }

    void TearDown() override {
        server_.reset();
        std::filesystem::remove_all("/usr/zafo/etc/ssl");
    }

    int Search(const Texts &arguments) {
        const rig::ToolOutcome outcome =
            RunFront("ldapsearch", Texts{"-LLL", "-x"} + arguments + Texts{"-b", "o=x"});
        last_output_ = outcome.output;
        return outcome.status >> 8;
    }

    std::optional<rig::RunningTool> server_;
    std::string last_output_;
};

TEST_F(Server, AnswersPlainStartTlsAndTls) {
    EXPECT_EQ(Search({"-H", kPlain}), 0) << last_output_;
    EXPECT_EQ(Search({"-H", kPlain, "-Z"}), 0) << last_output_;
    EXPECT_EQ(Search({"-H", kTls}), 0) << last_output_;
    EXPECT_THAT(last_output_, HasSubstr("dn: cn=ann,o=x\n"));
}

TEST_F(Server, IsNotTrustedUnderAnotherAuthority) {
    std::filesystem::remove(kTrust);
    EXPECT_NE(Search({"-H", kPlain, "-Z"}), 0);
    EXPECT_NE(Search({"-H", kTls}), 0);
    WriteFile("/tmp/ldaprc", "TLS_REQCERT never\n");
    rig::RunningTool front({Front("ldapsearch"), "-x", "-H", kTls, "-s", "base"},
                           {"LDAPTLS_REQCERT=never", "LDAPCONF=/tmp/ldaprc"}, "/tmp");
    EXPECT_NE(front.Finish().status, 0);
    std::filesystem::remove("/tmp/ldaprc");
}

TEST_F(Server, TakesTheBindSecret) {
    EXPECT_EQ(Search({"-H", kPlain, "-D", "cn=admin,o=x", "-w", "geheim"}), 0) << last_output_;
    EXPECT_EQ(Search({"-H", kPlain, "-D", "cn=admin,o=x", "-w", "geheim "}), 49);
}

TEST_F(Server, TakesChangesAndPasswords) {
    WriteFile("/tmp/change.ldif", "dn: cn=ann,o=x\nchangetype: modify\nreplace: sn\nsn: Changed\n");
    EXPECT_EQ(RunFront("ldapmodify", {"-x", "-ZH", kPlain, "-D", "cn=admin,o=x", "-f",
                                      "/tmp/change.ldif", "-w", "geheim"})
                  .status,
              0);
    EXPECT_EQ(Search({"-H", kPlain}), 0);
    EXPECT_THAT(last_output_, HasSubstr("sn: Changed\n"));
    WriteFile("/tmp/add.ldif", "dn: cn=bob,o=x\nobjectClass: person\ncn: bob\nsn: Example\n");
    const Texts add = {"-ax",           "-H", kPlain,  "-D", "cn=admin,o=x", "-f",
                       "/tmp/add.ldif", "-w", "geheim"};
    EXPECT_EQ(RunFront("ldapmodify", add).status, 0);
    EXPECT_EQ(RunFront("ldapmodify", add).status, 68 << 8);
    EXPECT_EQ(RunFront("ldappasswd", {"-x", "-H", kPlain, "-Z", "-D", "cn=admin,o=x", "-w",
                                      "geheim", "-s", "n e w", "cn=ann,o=x"})
                  .status,
              0);
    EXPECT_EQ(Search({"-H", kPlain, "-D", "cn=ann,o=x", "-w", "n e w"}), 0);
    EXPECT_NE(RunFront("ldappasswd", {"-x", "-H", kPlain, "-D", "cn=admin,o=x", "-w", "geheim",
                                      "-s", "", "cn=ann,o=x"})
                  .status,
              0);
}

TEST_F(Server, WritesLongValuesUnfolded) {
    WriteFile("/tmp/change.ldif",
              "dn: cn=ann,o=x\nchangetype: modify\nadd: description\ndescription: " +
                  std::string(500, 'd') + "\n");
    EXPECT_EQ(RunFront("ldapmodify", {"-x", "-H", kPlain, "-D", "cn=admin,o=x", "-f",
                                      "/tmp/change.ldif", "-w", "geheim"})
                  .status,
              0);
    EXPECT_EQ(Search({"-H", kPlain}), 0);
    EXPECT_THAT(last_output_, HasSubstr("description: " + std::string(500, 'd') + "\n"));
}

class ServerWithoutTls : public Server {
  protected:
    void SetUp() override { Start(""); }
};

TEST_F(ServerWithoutTls, GetsNothingInClearTextFromStartTls) {
    EXPECT_EQ(Search({"-H", kPlain}), 0) << last_output_;
    EXPECT_NE(Search({"-H", kPlain, "-Z"}), 0);
    EXPECT_THAT(last_output_, Not(HasSubstr("dn:")));
    EXPECT_NE(RunFront("ldapmodify", {"-x", "-ZH", kPlain, "-D", "cn=admin,o=x", "-f", "/dev/null",
                                      "-w", "geheim"})
                  .status,
              0);
    EXPECT_NE(RunFront("ldappasswd", {"-x", "-H", kPlain, "-Z", "-D", "cn=admin,o=x", "-w",
                                      "geheim", "-s", "x", "cn=ann,o=x"})
                  .status,
              0);
}

}  // namespace
}  // namespace zafo
