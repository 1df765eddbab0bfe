// SPDX-License-Identifier: Apache-2.0
//
// An attacker between a client and its server presents a certificate that the trusted authority has
// issued for something else, with the server's name only where a lenient client looks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/program.h"

namespace zafo::test {
namespace {

using rig::ProgramRun;
using testing::HasSubstr;

constexpr int kStopped = 1;   // the tool's exit code
constexpr int kNoAccess = 6;  // the program's exit code

// A server with StartTLS and a certificate from an authority that the appliance trusts.
constexpr const char *kStart = R"script(
set -e
mkdir -p /tmp/certificate/db /usr/zafo/etc/ssl
cd /tmp/certificate
key='-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes'
openssl req -x509 $key -keyout ca.key -out ca.pem -subj '/CN=Authority' -days 9 \
    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign
openssl req $key -keyout server.key -out server.csr -subj "/CN=$1"
echo 'basicConstraints=CA:FALSE' >extensions
[ -z "$2" ] || echo "subjectAltName=$2" >>extensions
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -set_serial 7 -days 9 \
    -extfile extensions -out server.pem
cat ca.pem >/usr/zafo/etc/ssl/ca.pem
cat >slapd.conf <<CONF
include /etc/ldap/schema/core.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile /tmp/certificate/slapd.pid
TLSCertificateFile /tmp/certificate/server.pem
TLSCertificateKeyFile /tmp/certificate/server.key
database mdb
suffix dc=x
directory /tmp/certificate/db
CONF
grep -q ldap.test /etc/hosts || echo '127.0.0.1 ldap.test' >>/etc/hosts
slapd -f slapd.conf -h ldap://127.0.0.1:3890
for try in $(seq 100); do
    # It writes its number before it listens.
    if [ -s slapd.pid ] && (: </dev/tcp/127.0.0.1/3890) 2>/dev/null; then exit 0; fi
    sleep 0.1
done
exit 1
)script";

constexpr const char *kStop = R"script(
pid=$(cat /tmp/certificate/slapd.pid) && kill "$pid" && while kill -0 "$pid"; do sleep 0.02; done
rm -rf /tmp/certificate /usr/zafo/etc/ssl
)script";

struct Row {
    const char *name;
    const char *common_name;
    const char *alternative;
    const char *host;
    bool accepted;
    const char *words;  // in the output of "connection check"
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.name;
}

constexpr Row kRows[] = {
    {"OfAnotherHost", "ldap.test", "DNS:other.test", "ldap.test", false,
     "it is for other.test, not for ldap.test, and its common name does not count"},
    {"OfAPerson", "ldap.test", "email:mallory@example.com", "ldap.test", false,
     "it is for no host, not for ldap.test, and its common name does not count"},
    {"OfAnAddress", "ldap.test", "IP:192.0.2.1", "ldap.test", false,
     "it is for 192.0.2.1, not for ldap.test, and its common name does not count"},
    {"WithTheAddressAsItsCommonName", "127.0.0.1", "DNS:other.test", "127.0.0.1", false,
     "it is for other.test, not for 127.0.0.1, and its common name does not count"},
    {"WithAnotherCommonNameOnly", "other.test", "", "ldap.test", false, "hostname mismatch"},
    {"WithItsCommonNameOnly", "ldap.test", "", "ldap.test", true,
     "the certificate has no alternative names"},
    {"OfTheHost", "other.test", "DNS:ldap.test", "ldap.test", true, "ldap.test"},
    {"OfTheDomain", "other.test", "DNS:*.test", "ldap.test", true, "*.test"},
    {"OfTheAddress", "other.test", "IP:127.0.0.1", "127.0.0.1", true, "127.0.0.1"}};

class Certificate : public testing::TestWithParam<Row> {
  protected:
    void SetUp() override {
        const ProgramRun run = rig::RunProgram(
            {"bash", "-c", kStart, "start", GetParam().common_name, GetParam().alternative});
        ASSERT_EQ(run.exit_code, 0) << run.err;
        rig::WriteFile(rig::kConnections,
                       "[root]\nuri=" + Address() + "\nbasedn=dc=x\nssl=start_tls\n");
    }
    void TearDown() override {
        rig::RunProgram({"bash", "-c", kStop});
        rig::ForgetConnections();
    }

    static std::string Address() { return std::string(GetParam().host) + ":3890"; }
};

TEST_P(Certificate, CountsForTheNamesThatItIsFor) {
    const ProgramRun run = rig::RunProgram({"/usr/zafo/bin/ldapsearch", "-x", "-LLL", "-Z", "-H",
                                            "ldap://" + Address(), "-b", "", "-s", "base", "1.1"});
    EXPECT_EQ(run.exit_code, GetParam().accepted ? 0 : kStopped) << run.err;
}

// The check matches names as the tools do.
TEST_P(Certificate, IsJudgedByTheCheckAsByTheTools) {
    const ProgramRun run = rig::Zafoldap({"connection", "check", "--format", "table"});
    EXPECT_EQ(run.exit_code == kNoAccess, !GetParam().accepted) << run.err;
    EXPECT_THAT(GetParam().accepted ? run.out : run.err, HasSubstr(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(Tls, Certificate, testing::ValuesIn(kRows),
                         [](const auto &row) { return std::string(row.param.name); });

}  // namespace
}  // namespace zafo::test
