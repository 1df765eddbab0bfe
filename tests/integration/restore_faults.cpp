// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/restore_faults.h"

#include <algorithm>

#include "platform/service.h"

namespace zafo::test {

void FaultTest::SetUpTestSuite() {
    const std::string folder = std::string(kServerFolder) + "/tls/";
    const std::string trust = "/usr/zafo/etc/ssl/ca.pem";
    Backup();
    const rig::ProgramRun run = rig::RunProgram(
        {"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
         "-nodes", "-subj", "/O=Somebody else/CN=localhost", "-addext",
         "subjectAltName=DNS:localhost,DNS:zafo", "-keyout", folder + "server.key", "-out",
         folder + "server.pem"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    WriteFile(trust, FileContent(trust) + FileContent(folder + "server.pem"));
    if (HasServerUser()) {
        ASSERT_EQ(rig::RunProgram({"chown", "openldap", folder + "server.key"}).exit_code, 0);
    }
    StopAndStart();
}

rig::FaultRun FaultTest::RestoreWith(const std::string &fault) {
    return rig::RunWithFault({kBackupProgram, "-r", Backup()}, {}, fault);
}

void FaultTest::StopAndStart() {
    ASSERT_EQ(QLIBServiceStop(kService, 0), 0);
    ASSERT_EQ(QLIBServiceStart(kService, 0), 0);
}

void FaultTest::Recover() {
    EXPECT_EQ(rig::RunProgram({"/usr/zafo/libexec/ldap-restore-settle"}).exit_code, 0);
}

void FaultTest::ExpectEither(const std::string &entries) {
    ExpectServes(Slapcat() == Restored() ? Restored() : entries);
    ExpectNothingLeft();
}

bool FaultTest::IsProgress(const rig::CountedCall &call) {
    return call.path.find("zafoldap.progress") != std::string::npos;
}

std::string FaultTest::CallOf(const rig::FaultRun &run, std::string_view kind,
                              std::string_view path) {
    const auto found = std::ranges::find_if(run.calls, [&](const rig::CountedCall &call) {
        return call.kind == kind && call.path.ends_with(path);
    });
    EXPECT_NE(found, run.calls.end()) << kind << " " << path;
    return std::to_string(found - run.calls.begin() + 1);
}

}  // namespace zafo::test
