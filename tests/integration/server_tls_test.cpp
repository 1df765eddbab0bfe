// SPDX-License-Identifier: Apache-2.0
//
// The library and its own server communicate encrypted or not at all, and the programs say why not.

#include "tests/integration/packet_capture.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *kStartTls = "1.3.6.1.4.1.1466.20037";  // the request's OID, in clear
constexpr int kToolRefused = 1;                              // the clients' exit code
constexpr int kNoEncryption = 6;                             // the programs' exit code

// --- On the wire ---------------------------------------------------------------------------

class OnTheWire : public SharedServerTest {
  protected:
    void SetUp() override {
        SharedServerTest::SetUp();
        if (const std::string missing = PacketCapture::Missing(); !missing.empty())
            GTEST_SKIP() << missing;
    }
};

TEST_F(OnTheWire, APlainBindShowsItsPassword) {
    const OwnServer &server = Server();
    PacketCapture capture;
    EXPECT_EQ(rig::RunProgram({"ldapwhoami", "-x", "-H", "ldap://localhost", "-D",
                               server.Settings().admin, "-w", server.Settings().password})
                  .exit_code,
              0);
    EXPECT_THAT(capture.Finish(), HasSubstr(server.Settings().password));
}

int ReadsOwnEntry(const std::string &dn, const std::string &password) {
    ZAFOLDAP_HOST host;
    ZAFOLDAPHostInitByBrowserConfig(&host, nullptr);
    ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_BINDDN, dn.c_str());
    ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_BINDPW, password.c_str());
    const SearchOutcome outcome = Search(&host, {.base = dn, .scope = "base"});
    ZAFOLDAPHostFree(&host);
    return static_cast<int>(outcome.entries.size());
}

TEST_F(OnTheWire, NoPasswordOfTheLibraryShows) {
    const OwnServer &server = Server();
    const std::string dn = server.UserDN("wire");
    const std::string first = "the first secret", second = "the second secret";
    PacketCapture capture;
    server.AddUser("wire", first);
    EXPECT_EQ(ReadsOwnEntry(dn, first), 1);
    EXPECT_EQ(ZAFOLDAPPasswd(&server.Host(), dn.c_str(), second.c_str()), 0);
    EXPECT_EQ(ReadsOwnEntry(dn, second), 1);
    const std::string seen = capture.Finish();
    EXPECT_THAT(seen, HasSubstr(kStartTls));
    for (const std::string &password : {first, second, server.Settings().password})
        EXPECT_THAT(seen, Not(HasSubstr(password)));
    server.Change("dn: " + dn + "\nchangetype: delete\n");
}

// --- Bad certificates ---------------------------------------------------------

struct CertificateRow {
    const char *name;
    const char *days;
    const char *names;
    bool trusted;
    const char *connection;  // what "zafoldap connection check" says
    const char *check;       // which check of the server fails
    const char *cause;       // and why
};

constexpr CertificateRow kCertificates[] = {
    {"Ended", "-1", "DNS:localhost,DNS:zafo", true, "certificate has expired", "certificate-end",
     "certificate has expired, on "},
    {"ForAnotherName", "30", "DNS:ldap.example.com", true, "hostname mismatch", "certificate-names",
     "hostname mismatch for localhost and zafo; it is for ldap.example.com"},
    {"OfAnotherAuthority", "30", "DNS:localhost,DNS:zafo", false,
     "unable to verify the first certificate", "certificate-chain",
     "unable to get local issuer certificate"},
};

class Tls : public ServerTest {
  protected:
    // Changes to this server are not undone.
    static void TearDownTestSuite() { EndSharedServer(); }

    static OwnServer &Server() { return SharedServer(); }
    static void Restart() { ASSERT_EQ(ZAFOLDAPServerEnable(nullptr), 0); }

    // The library's result and its error.
    static Codes Connects(int *result) {
        ZAFOLDAP_HOST host;
        ZAFOLDAPErrReset();
        *result = ZAFOLDAPHostInitByBrowserConfig(&host, nullptr);
        ZAFOLDAPHostFree(&host);
        return LastCodes();
    }
};

// As an administrator would: an external authority, which the appliance does or does not trust.
constexpr const char *kScript = R"script(
set -e
mkdir -p /tmp/elsewhere
cd /tmp/elsewhere
key='-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes'
openssl req -x509 $key -keyout ca.key -out ca.pem -subj '/O=Elsewhere/CN=Authority' -days 90 \
    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign
openssl req $key -keyout server.key -out server.csr -subj '/O=Elsewhere/CN=server'
echo "subjectAltName=$2" >names
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -set_serial 7 -days "$1" \
    -extfile names -out server.pem
tls=/usr/zafo/etc/openldap/tls
cat server.pem >$tls/server.pem
cat server.key >$tls/server.key
[ "$3" = trusted ] || cp $tls/ca.pem .
cat ca.pem >/usr/zafo/etc/ssl/ca.pem
cd /
rm -r /tmp/elsewhere
)script";

void Install(const CertificateRow &row) {
    const rig::ProgramRun run = rig::RunProgram(
        {"bash", "-c", kScript, "install", row.days, row.names, row.trusted ? "trusted" : "no"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
}

void ExpectRefusal(const CertificateRow &row) {
    const rig::ProgramRun connection = rig::RunProgram({"zafoldap", "connection", "check"});
    EXPECT_EQ(connection.exit_code, kNoEncryption);
    EXPECT_THAT(
        connection.err,
        HasSubstr(std::string("certificate of O = Elsewhere, CN = server: ") + row.connection));
    const rig::ProgramRun check = rig::RunProgram({"zafoldapserver", "check", "--format", "plain"});
    EXPECT_EQ(check.exit_code, 1);
    EXPECT_THAT(check.out, HasSubstr(std::string("error\t") + row.check +
                                     "\tcertificate of O = Elsewhere, CN = server: " + row.cause));
}

TEST_F(Tls, WithAWrongCertificateFailsAndTheProgramsSayWhy) {
    Server();
    for (const CertificateRow &row : kCertificates) {
        SCOPED_TRACE(row.name);
        Install(row);
        Restart();
        int result = -1;
        EXPECT_EQ(Connects(&result).library, kToolRefused);
        EXPECT_EQ(result, 0);
        ExpectRefusal(row);
    }
}

// --- Without TLS -----------------------------------------------------------------------------

TEST_F(Tls, ThatTheServerLacksIsAFailureAndNothingGoesInClear) {
    if (const std::string missing = PacketCapture::Missing(); !missing.empty())
        GTEST_SKIP() << missing;
    const OwnServer &server = Server();
    ASSERT_EQ(rig::RunProgram({"sed", "-i", "/^TLS/d", kConfiguration}).exit_code, 0);
    Restart();
    PacketCapture capture;
    int result = -1;
    EXPECT_EQ(Connects(&result).library, kToolRefused);
    EXPECT_EQ(result, 0);
    const SearchOutcome outcome = Search(&server.Host(), {.attributes = {"1.1"}});
    EXPECT_EQ(outcome.ldap_error, kToolRefused);
    EXPECT_THAT(outcome.entries, IsEmpty());
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), -1);
    EXPECT_EQ(ZAFOLDAPPasswd(&server.Host(), server.UserDN("admin").c_str(), "a new secret"), -1);
    const rig::ProgramRun run = rig::RunProgram({"zafoldap", "connection", "check"});
    EXPECT_EQ(run.exit_code, kNoEncryption);
    EXPECT_THAT(run.err, HasSubstr("cannot establish an encrypted connection to localhost"));
    EXPECT_THAT(capture.Finish(), AllOf(HasSubstr(kStartTls), Not(HasSubstr("a new secret")),
                                        Not(HasSubstr(server.Settings().password))));
}

}  // namespace
}  // namespace zafo::test
