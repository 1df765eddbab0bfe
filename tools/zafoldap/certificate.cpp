// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/certificate.h"

#include "platform/process.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <fmt/format.h>

#include <cstdio>
#include <string_view>
#include <vector>

namespace zafo::cli {

namespace {

constexpr const char *kOpenssl = "/usr/zafo/bin/openssl";
constexpr const char *kAuthority = "/usr/zafo/etc/ssl/ca.pem";  // what the LDAP tools trust

// The text after the first `mark`, up to the line's end or to `stop`.
std::string After(std::string_view text, std::string_view mark, std::string_view stop = "\n") {
    const size_t at = text.find(mark);
    if (at == std::string_view::npos) return {};
    text.remove_prefix(at + mark.size());
    return std::string(text.substr(0, std::min(text.find('\n'), text.find(stop))));
}

bool IsAddress(const std::string &host) {
    in6_addr six{};
    in_addr four{};
    return inet_pton(AF_INET6, host.c_str(), &six) == 1 ||
           inet_pton(AF_INET, host.c_str(), &four) == 1;
}

std::string ReadAll(FILE *stream) {
    constexpr size_t kMost = 1 << 20;
    std::string text;
    char buffer[4096];
    size_t n = 0;
    while (text.size() < kMost && (n = fread(buffer, 1, sizeof buffer, stream)) > 0) {
        text.append(buffer, n);
    }
    return text;
}

}  // namespace

std::optional<CertificateReport> ParseCertificateReport(const std::string &output) {
    // "Verify return code: 10 (certificate has expired)"
    const std::string code = After(output, "Verify return code: ");
    const size_t open = code.find('('), close = code.rfind(')');
    if (open == std::string::npos || close == std::string::npos) return std::nullopt;
    CertificateReport report{.verdict = code.substr(open + 1, close - open - 1)};
    report.subject = After(output, " 0 s:");
    const std::string not_after = After(output, "NotAfter: ");
    std::tm when{};
    if (strptime(not_after.c_str(), "%b %d %H:%M:%S %Y", &when) != nullptr) {
        report.ends = timegm(&when);
    }
    return report;
}

std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls) {
    const bool literal = IsAddress(host);
    const bool six = literal && host.find(':') != std::string::npos;
    const std::string address =
        fmt::format("{}{}{}:{}", six ? "[" : "", host, six ? "]" : "", port);
    std::vector<const char *> argv = {kOpenssl,        "s_client",
                                      "-showcerts",    "-connect",
                                      address.c_str(), literal ? "-verify_ip" : "-verify_hostname",
                                      host.c_str()};
    if (start_tls) argv.insert(argv.end(), {"-starttls", "ldap"});
    if (access(kAuthority, R_OK) == 0) argv.insert(argv.end(), {"-CAfile", kAuthority});
    argv.push_back(nullptr);
    FILE *stream = QLIBCPopenv(kOpenssl, "r", const_cast<char *const *>(argv.data()));
    if (stream == nullptr) return std::nullopt;
    const std::string output = ReadAll(stream);
    QLIBCPclose(stream);
    return ParseCertificateReport(output);
}

}  // namespace zafo::cli
