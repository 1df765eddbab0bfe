// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "tests/host/ldap_server_fixture.h"

namespace zafo::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Certificates : public LdapServer {
  protected:
    void SetUp() override {
        LdapServer::SetUp();
        host_ = Shell("uname -n");
        host_.pop_back();
    }
    void TearDown() override {
        Rename(host_);
        LdapServer::TearDown();
    }

    static void Make() {
        const rig::ProgramRun run = StartProgram("--certificates-only");
        ASSERT_EQ(run.exit_code, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }

    static void Rename(const std::string &host) {
        ASSERT_EQ(sethostname(host.data(), host.size()), 0);
    }

    static std::string Names() {
        return Shell("openssl x509 -in " + kTls + "server.pem -noout -ext subjectAltName");
    }

    static std::string Server() { return ReadFile(kTls + "server.pem"); }
    static std::string Authority() { return ReadFile(kTls + "ca.pem"); }

    // Installs a certificate from our authority that is valid for that many more days.
    static void IssueFor(int days) {
        Shell("cd " + kTls +
              "; openssl req -new -key server.key -subj /CN=old -out /tmp/old.csr &&"
              "printf 'subjectAltName=DNS:localhost,DNS:'$(uname -n)',DNS:'$(hostname -f)',"
              "IP:127.0.0.1,IP:::1' >/tmp/old.names &&"
              "openssl x509 -req -in /tmp/old.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days " +
              std::to_string(days) + " -extfile /tmp/old.names -out server.pem");
    }

    std::string host_;
};

TEST_F(Certificates, AreMadeByAnAuthorityOfTheAppliancesOwn) {
    Make();
    Shell("openssl verify -CAfile " + kTrust + " -verify_hostname localhost " + kTls +
          "server.pem");
    EXPECT_EQ(ReadFile(kTrust), Authority());
    EXPECT_EQ(ModeOf(kTrust), 0644U);
    EXPECT_EQ(ModeOf(kTls + "ca.key"), 0600U);
    EXPECT_THAT(ModeOf(kTls + "server.key"), testing::AnyOf(0640U, 0600U));
    EXPECT_FALSE(std::filesystem::exists(kServerPidFile));
}

TEST_F(Certificates, ServersKeyIsForItsUserAlone) {
    Make();
    const passwd *account = ServerAccount();
    if (account == nullptr) GTEST_SKIP() << "files cannot be given to the user openldap";
    struct stat facts {};
    ASSERT_EQ(stat((kTls + "server.key").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0640U);
    EXPECT_EQ(facts.st_gid, account->pw_gid);
    EXPECT_EQ(facts.st_uid, 0U);
}

TEST_F(Certificates, LastTenYearsAndThreeMonthsMoreThanTwo) {
    Make();
    const auto lasts = [](const std::string &name, int days) {
        return rig::RunProgram({"openssl", "x509", "-in", kTls + name, "-noout", "-checkend",
                                std::to_string(days * 86400)})
                   .exit_code == 0;
    };
    EXPECT_TRUE(lasts("ca.pem", 3649));
    EXPECT_FALSE(lasts("ca.pem", 3651));
    EXPECT_TRUE(lasts("server.pem", 824));
    EXPECT_FALSE(lasts("server.pem", 826));
}

TEST_F(Certificates, NameTheMachineAndItself) {
    Make();
    for (const char *name :
         {"DNS:localhost", "DNS:zafo", "IP Address:127.0.0.1", "IP Address:0:0:0:0:0:0:0:1"})
        EXPECT_THAT(Names(), HasSubstr(name));
}

TEST_F(Certificates, ThatAreGoodAreKept) {
    Make();
    const std::string server = Server();
    const std::string authority = Authority();
    Make();
    EXPECT_EQ(Server(), server);
    EXPECT_EQ(Authority(), authority);
    EXPECT_EQ(ReadFile(kTrust), authority);
}

TEST_F(Certificates, WithManyDaysLeftAreKept) {
    Make();
    IssueFor(95);
    const std::string server = Server();
    Make();
    EXPECT_EQ(Server(), server);
}

TEST_F(Certificates, WithFewDaysLeftAreRenewedByTheSameAuthority) {
    Make();
    const std::string authority = Authority();
    IssueFor(85);
    const std::string server = Server();
    Make();
    EXPECT_NE(Server(), server);
    EXPECT_EQ(Authority(), authority);
    Shell("openssl verify -CAfile " + kTrust + " " + kTls + "server.pem");
}

TEST_F(Certificates, GetTheNamesThatTheMachineGets) {
    Make();
    Rename("other.example.com");
    Make();
    EXPECT_THAT(Names(), HasSubstr("DNS:other.example.com"));
    EXPECT_THAT(Names(), HasSubstr("DNS:localhost"));
}

TEST_F(Certificates, GetTheAddressesThatTheMachineGets) {
    if (rig::RunProgram({"/bin/bash", "-c", "ip addr add 192.0.2.7/32 dev lo"}).exit_code != 0) {
        GTEST_SKIP() << "this root cannot be given an address";
    }
    Make();
    EXPECT_THAT(Names(), HasSubstr("IP Address:192.0.2.7"));
    Shell("ip addr del 192.0.2.7/32 dev lo");
}

TEST_F(Certificates, OfAMachineWithAnOddNameAreMade) {
    Rename("zafo name;$(x)");
    Make();
    EXPECT_THAT(Names(), HasSubstr("DNS:localhost"));
    EXPECT_THAT(Names(), Not(HasSubstr("name;")));
}

TEST_F(Certificates, OfAnotherAuthorityAreNeverTouched) {
    Shell("mkdir -p " + kTls + " && cd " + kTls +
          " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
          "-subj '/O=Somebody/CN=nas.example.com' -keyout server.key -out server.pem");
    const std::string server = Server();
    const std::string key = ReadFile(kTls + "server.key");
    Make();
    EXPECT_EQ(Server(), server);
    EXPECT_EQ(ReadFile(kTls + "server.key"), key);
}

TEST_F(Certificates, WithTheWrongKeyAreReplaced) {
    Make();
    Shell("openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out " + kTls +
          "server.key");
    Make();
    EXPECT_EQ(Shell("openssl x509 -noout -pubkey -in " + kTls + "server.pem"),
              Shell("openssl pkey -pubout -in " + kTls + "server.key"));
}

TEST_F(Certificates, OfAnAuthorityWhoseKeyIsLostAreReplacedTogetherWithIt) {
    Make();
    const std::string authority = Authority();
    std::filesystem::remove(kTls + "ca.key");
    Make();
    EXPECT_NE(Authority(), authority);
    Shell("openssl verify -CAfile " + kTls + "ca.pem " + kTls + "server.pem");
    EXPECT_THAT(ReadFile(kTrust), HasSubstr(Authority()));
}

TEST_F(Certificates, KeepWhatElseTheAdministratorTrusts) {
    std::filesystem::create_directories("/usr/zafo/etc/ssl");
    WriteFile(kTrust, "# office\nanother authority\n");
    Make();
    EXPECT_THAT(ReadFile(kTrust), HasSubstr("# office\nanother authority\n"));
    EXPECT_THAT(ReadFile(kTrust), HasSubstr(Authority()));
}

TEST_F(Certificates, LeaveNoOtherFiles) {
    Make();
    std::filesystem::create_directory(kTls + ".new.killed");
    Make();
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(kTls))
        names.push_back(entry.path().filename());
    EXPECT_THAT(names, testing::UnorderedElementsAre(".lock", "ca.key", "ca.pem", "server.key",
                                                     "server.pem"));
}

TEST_F(Certificates, MadeConcurrentlyMatch) {
    Shell(kStart + " --certificates-only & " + kStart + " --certificates-only && wait $!");
    Shell("openssl verify -CAfile " + kTrust + " " + kTls + "server.pem");
    EXPECT_EQ(Shell("openssl x509 -noout -pubkey -in " + kTls + "server.pem"),
              Shell("openssl pkey -pubout -in " + kTls + "server.key"));
}

}  // namespace
}  // namespace zafo::test
