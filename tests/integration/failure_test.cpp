// SPDX-License-Identifier: Apache-2.0
//
// Servers that refuse, are down, stay silent or cannot be trusted. Every failure looks the same to
// a caller: -1 and the tool's exit code, which is the LDAP result code, or 255 if there was no
// answer.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"
#include "tests/integration/listener.h"

namespace zafo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char *kTrustFile = "/usr/zafo/etc/ssl/ca.pem";
constexpr const char *kLimitsFile = "/usr/zafo/etc/tools.conf";
constexpr int kNoAnswer = 255;

// Replaces a file's content for the lifetime of the object.
class ChangedFile {
  public:
    ChangedFile(std::string path, const std::string &content)
        : path_(std::move(path)),
          existed_(std::filesystem::exists(path_)),
          before_(FileContent(path_)) {
        WriteFile(path_, content);
    }
    ~ChangedFile() {
        if (existed_) {
            WriteFile(path_, before_);
        } else {
            std::filesystem::remove(path_);
        }
    }
    ChangedFile(const ChangedFile &) = delete;
    ChangedFile &operator=(const ChangedFile &) = delete;

  private:
    std::string path_;
    bool existed_;
    std::string before_;
};

// A certificate authority of the same name that has signed nothing.
std::string ForeignAuthority() {
    const rig::ProgramRun run = rig::RunProgram(
        {"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-keyout", "/dev/null", "-subj", "/O=Example/CN=Example CA", "-days", "2"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return run.out;
}

struct Endpoint {
    const char *name;
    const char *uri;
    int ssl_type;
};

constexpr Endpoint kPlain = {"Plain", "127.0.0.1:389", 0};
constexpr Endpoint kLdaps = {"Ldaps", "127.0.0.1:636", 1};
constexpr Endpoint kStartTLS = {"StartTLS", "127.0.0.1:389", 2};

std::string NameOf(const testing::TestParamInfo<Endpoint> &row) {
    return row.param.name;
}

class RefusalOver : public testing::TestWithParam<Endpoint> {
  protected:
    Connection connection_{GetParam().uri, GetParam().ssl_type};
};

TEST_P(RefusalOver, AWrongPasswordIs49) {
    connection_.BindAs(ExampleDirectory::Get().BindDN(), "not the password");
    const SearchOutcome outcome = Search(connection_, {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.ldap_error, 49);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST_P(RefusalOver, ABaseThatDoesNotExistIs32) {
    const SearchOutcome outcome = Search(connection_, {.base = "ou=nowhere,dc=example,dc=com"});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.ldap_error, 32);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST_P(RefusalOver, ABaseThatIsNotADnIs34) {
    const SearchOutcome outcome = Search(connection_, {.base = "no name"});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.ldap_error, 34);
}

INSTANTIATE_TEST_SUITE_P(Transports, RefusalOver, testing::Values(kPlain, kLdaps, kStartTLS),
                         NameOf);

class TrustOver : public testing::TestWithParam<Endpoint> {};

TEST_P(TrustOver, ACertificateOfAForeignAuthorityIsRefused) {
    ExampleDirectory::Get();
    const ChangedFile trust(kTrustFile, ForeignAuthority());
    const SearchOutcome outcome = Search(Connection(GetParam().uri, GetParam().ssl_type), {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.ldap_error, 0);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST_P(TrustOver, ACertificateForAnotherNameIsRefused) {
    ExampleDirectory::Get();
    const ChangedFile names("/etc/hosts", "127.0.0.1 localhost zafo elsewhere\n::1 localhost\n");
    const std::string port =
        std::string(GetParam().uri).substr(std::string(GetParam().uri).find(':'));
    const SearchOutcome outcome = Search(Connection("elsewhere" + port, GetParam().ssl_type), {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.ldap_error, 0);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST_P(TrustOver, APersonalSettingCannotSwitchTheCheckOff) {
    ExampleDirectory::Get();
    const ChangedFile trust(kTrustFile, ForeignAuthority());
    const ChangedFile personal("/root/.ldaprc", "TLS_REQCERT never\n");
    const ChangedFile here("ldaprc", "TLS_REQCERT never\n");
    setenv("LDAPTLS_REQCERT", "never", 1);
    const SearchOutcome outcome = Search(Connection(GetParam().uri, GetParam().ssl_type), {});
    unsetenv("LDAPTLS_REQCERT");
    EXPECT_EQ(outcome.result, -1);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Transports, TrustOver, testing::Values(kLdaps, kStartTLS), NameOf);

TEST(SizeLimit, OfTheServerDeliversWhatCameAndThenFailsWith4) {
    Connection connection;
    connection.BindAs(rig::kReaderDN, rig::kExampleUserPassword);
    const SearchOutcome outcome = Search(connection, {.attributes = {"1.1"}});
    EXPECT_THAT(outcome.entries, SizeIs(500));
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.ldap_error, 4);
}

TEST(SizeLimit, OfTheRequestDeliversWhatCameAndThenFailsWith4) {
    const SearchOutcome outcome = Search(Connection(), {.attributes = {"cn"}, .size_limit = 7});
    EXPECT_THAT(outcome.entries, SizeIs(7));
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.ldap_error, 4);
}

TEST(SizeLimit, OfTheRequestThatIsNotReachedIsNotAFailure) {
    const SearchOutcome outcome =
        Search(Connection(), {.filter = "(uid=reader)", .attributes = {"cn"}, .size_limit = 7});
    EXPECT_THAT(outcome.entries, SizeIs(1));
    EXPECT_EQ(outcome.result, 0);
}

TEST(ServerDown, IsAFailureWithoutAnEntry) {
    for (const Endpoint &endpoint :
         {Endpoint{"Plain", "127.0.0.1:1", 0}, {"Ldaps", "127.0.0.1:1", 1}}) {
        SCOPED_TRACE(endpoint.name);
        const SearchOutcome outcome = Search(Connection(endpoint.uri, endpoint.ssl_type), {});
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.ldap_error, kNoAnswer);
        EXPECT_THAT(outcome.entries, IsEmpty());
    }
}

TEST(ServerDown, WithStartTLSIsAFailureWithoutAnEntry) {
    const SearchOutcome outcome = Search(Connection("127.0.0.1:1", 2), {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.ldap_error, 0);
}

TEST(ServerDown, AServerThatComesBackIsReadAgain) {
    ExampleDirectory &directory = ExampleDirectory::Get();
    directory.Stop();
    EXPECT_EQ(Search(Connection(), {}).ldap_error, kNoAnswer);
    directory.Start();
    EXPECT_EQ(Search(Connection(), {.filter = "(uid=reader)"}).result, 0);
}

class SilentServerOver : public testing::TestWithParam<int> {
  protected:
    ChangedFile limits_{kLimitsFile, "timeout 1\nnetwork_timeout 1\n"};
    SilentServer server_;
    Connection connection_{server_.Uri(), GetParam()};
};

TEST_P(SilentServerOver, ASearchEndsByTheTimeLimit) {
    const SearchOutcome outcome = Search(connection_, {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.ldap_error, 0);
    EXPECT_THAT(outcome.entries, IsEmpty());
    EXPECT_GE(outcome.time.count(), 900);
    EXPECT_LT(outcome.time.count(), 5000);
}

TEST_P(SilentServerOver, AChangeEndsByTheTimeLimit) {
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif, rig::kReaderDN);
    ZAFOLDAPLdifChangeType(&ldif, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif, "description", "%s", "never written");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ZAFOLDAPModify(connection_, &ldif, 0), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

INSTANTIATE_TEST_SUITE_P(SSLTypes, SilentServerOver, testing::Values(0, 1, 2),
                         [](const auto &row) { return "Type" + std::to_string(row.param); });

// The request of RFC 4511 section 4.14.
constexpr const char *kStartTLSName = "1.3.6.1.4.1.1466.20037";

TEST(StartTLS, NothingButTheRequestGoesOutBeforeTheServerAgrees) {
    const ChangedFile limits(kLimitsFile, "timeout 1\nnetwork_timeout 1\n");
    SilentServer server;
    Search(Connection(server.Uri(), 2), {});
    EXPECT_THAT(server.Heard(), HasSubstr(kStartTLSName));
    EXPECT_THAT(server.Heard(), Not(HasSubstr("cn=admin")));
    EXPECT_THAT(server.Heard(), Not(HasSubstr(ExampleDirectory::Get().Password())));
}

class ServerWithoutTLS : public testing::Test {
  protected:
    ExampleDirectory server_{"/var/lib/plain-directory", 3389, {"--no-tls"}};
    Connection connection_{"127.0.0.1:3389", 2};

    void SetUp() override {
        connection_.BindAs(server_.BindDN(), server_.Password().c_str());
        Connection plain("127.0.0.1:3389", 0);
        plain.BindAs(server_.BindDN(), server_.Password().c_str());
        ASSERT_EQ(Search(plain, {.filter = "(uid=reader)"}).result, 0);
    }
};

TEST_F(ServerWithoutTLS, IsNotSearchedInClearTextWhenStartTLSWasAsked) {
    const SearchOutcome outcome = Search(connection_, {});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.ldap_error, 0);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST_F(ServerWithoutTLS, IsNotChangedInClearTextWhenStartTLSWasAsked) {
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif, rig::kReaderDN);
    ZAFOLDAPLdifChangeType(&ldif, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif, "description", "%s", "in clear text");
    ZAFOLDAPErrReset();
    EXPECT_EQ(ZAFOLDAPModify(connection_, &ldif, 0), -1);
    EXPECT_NE(ZAFOLDAPErrGet(), 0);
    EXPECT_THAT(server_.Read(rig::kReaderDN, "base", {"(description=*)"}), IsEmpty());
}

}  // namespace
}  // namespace zafo::test
