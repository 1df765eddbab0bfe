// SPDX-License-Identifier: Apache-2.0
//
// Parsing openssl's output, for sample texts and for certificates of all kinds with openssl itself.
#include "tools/cli/certificate.h"

#include <sys/stat.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/program.h"

namespace {

using namespace zafo::cli;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using zafo::rig::RunProgram;
using zafo::rig::WriteFile;

TEST(Certificate, ReadsVerdictAndEnd) {
    const auto report = ParseCertificateReport(
        "CONNECTED(00000003)\nCertificate chain\n 0 s:O = Example, CN = zafo\n   i:CN = CA\n"
        "   v:NotBefore: Nov 21 01:00:00 2026 GMT; NotAfter: Dec 21 01:00:00 2026 GMT\n"
        "Verify return code: 62 (hostname mismatch)\n");
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->verdict, "hostname mismatch");
    EXPECT_EQ(report->chain.at(0).subject, "O = Example, CN = zafo");
    EXPECT_EQ(report->chain.at(0).ends, 1797814800);
    EXPECT_FALSE(ParseCertificateReport("connect:errno=111\n").has_value());
}

std::optional<std::vector<std::string>> NamesIn(const std::string &list) {
    const auto certificate = ParseCertificate(
        "subject=CN = x\nissuer=CN = y\nnotAfter=Dec  1 09:01:50 2026 GMT\n" + list);
    EXPECT_TRUE(certificate.has_value());
    return certificate ? certificate->names : std::nullopt;
}

TEST(Certificate, NamesAreHostsAndAddresses) {
    EXPECT_THAT(NamesIn("X509v3 Subject Alternative Name: critical\n    DNS:a.example, IP "
                        "Address:192.0.2.1, IP Address:2001:DB8:0:0:0:0:0:1, email:q@x, "
                        "URI:http://a/, DirName:/O=x, Registered ID:1.2, DNS:*.test\n"),
                Optional(ElementsAre("a.example", "192.0.2.1", "2001:db8::1", "*.test")));
    EXPECT_THAT(NamesIn("X509v3 Subject Alternative Name: \n    email:q@x\n"), Optional(IsEmpty()));
    EXPECT_EQ(NamesIn("No extensions in certificate\n"), std::nullopt);
}

TEST(Certificate, NonsenseIsNotReadAsNames) {
    for (const char *list :
         {"", "\n", "\n    ", "\n    , , ", "\n    DNS:", "\n    IP Address:<invalid>",
          "\n    IP Address:1.2.3", "\n    DN", "\nDNS:outside"})
        EXPECT_THAT(NamesIn("X509v3 Subject Alternative Name:" + std::string(list)),
                    Optional(IsEmpty()))
            << list;
    EXPECT_EQ(ParseCertificate(""), std::nullopt);
    EXPECT_EQ(ParseCertificate("Unable to load certificate\nsubject=CN = x\n"), std::nullopt);
}

// Files that an administrator may install.
class CertificateFile : public testing::Test {
  protected:
    CertificateFile() { std::filesystem::create_directories(kFolder); }
    ~CertificateFile() override { std::filesystem::remove_all(kFolder); }

    // A self-signed certificate, valid for that many days.
    static std::string Make(const std::string &name, const std::string &days,
                            const std::string &alternative = "") {
        std::string path = kFolder + "/" + name + ".pem";
        std::vector<std::string> line = {"openssl",
                                         "req",
                                         "-x509",
                                         "-newkey",
                                         "ec",
                                         "-pkeyopt",
                                         "ec_paramgen_curve:P-256",
                                         "-nodes",
                                         "-keyout",
                                         kFolder + "/key",
                                         "-out",
                                         path,
                                         "-subj",
                                         "/CN=" + name,
                                         "-days",
                                         days};
        if (!alternative.empty())
            line.insert(line.end(), {"-addext", "subjectAltName=" + alternative});
        EXPECT_EQ(RunProgram(line).exit_code, 0);
        return path;
    }

    static inline const std::string kFolder = "/tmp/certificates";
};

TEST_F(CertificateFile, ReportsItsIssuerAndSubject) {
    const auto certificate = ReadCertificateFile(Make("one", "9", "DNS:ldap.test,IP:::1"));
    ASSERT_TRUE(certificate.has_value());
    EXPECT_EQ(certificate->subject, "CN = one");
    EXPECT_EQ(certificate->issuer, "CN = one");
    EXPECT_THAT(certificate->names, Optional(ElementsAre("ldap.test", "::1")));
}

TEST_F(CertificateFile, ReportsItsExpiryInThePastAndInTheFarFuture) {
    const std::time_t now = std::time(nullptr);
    const std::string old = Make("ended", "9");
    EXPECT_EQ(RunProgram({"openssl", "x509", "-in", old, "-signkey", kFolder + "/key", "-days",
                          "-1", "-out", old})
                  .exit_code,
              0);
    const auto ended = ReadCertificateFile(old);
    ASSERT_TRUE(ended && ended->ends);
    EXPECT_LT(*ended->ends, now);
    const auto lasting = ReadCertificateFile(Make("lasting", "2900000"));
    ASSERT_TRUE(lasting && lasting->ends);
    EXPECT_GT((*lasting->ends - now) / 86400, 2'899'990);
}

TEST_F(CertificateFile, WithSeveralStandsForTheFirst) {
    const std::string first = Make("first", "9", "DNS:first.test");
    WriteFile(first, zafo::rig::ReadFile(first) +
                         zafo::rig::ReadFile(Make("second", "9", "DNS:second.test")));
    const auto certificate = ReadCertificateFile(first);
    ASSERT_TRUE(certificate.has_value());
    EXPECT_EQ(certificate->subject, "CN = first");
    EXPECT_THAT(certificate->names, Optional(ElementsAre("first.test")));
}

TEST_F(CertificateFile, IsForItsCommonNameOnlyWithoutAlternativeNames) {
    const std::string plain = Make("ldap.test", "9");
    const auto certificate = ReadCertificateFile(plain);
    ASSERT_TRUE(certificate.has_value());
    EXPECT_EQ(certificate->names, std::nullopt);
    EXPECT_TRUE(CertificateIsFor(*certificate, plain, "ldap.test"));
    EXPECT_FALSE(CertificateIsFor(*certificate, plain, "other.test"));
    const std::string of_a_person = Make("ldap.test", "9", "email:q@ldap.test");
    const auto other = ReadCertificateFile(of_a_person);
    ASSERT_TRUE(other.has_value());
    EXPECT_FALSE(CertificateIsFor(*other, of_a_person, "ldap.test"));
}

TEST_F(CertificateFile, OfAnotherKindIsRefused) {
    const std::string path = kFolder + "/none.pem";
    EXPECT_EQ(ReadCertificateFile(path), std::nullopt) << "absent";
    EXPECT_EQ(ReadCertificateFile(kFolder), std::nullopt) << "a folder";
    ASSERT_EQ(mkfifo((kFolder + "/pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReadCertificateFile(kFolder + "/pipe"), std::nullopt) << "a pipe";
    WriteFile(path, "no certificate\n");
    EXPECT_EQ(ReadCertificateFile(path), std::nullopt);
    WriteFile(path, "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n");
    EXPECT_EQ(ReadCertificateFile(path), std::nullopt) << "cut short";
    WriteFile(path, std::string(8 << 20, 'x'));
    EXPECT_EQ(ReadCertificateFile(path), std::nullopt) << "huge";
}

}  // namespace
