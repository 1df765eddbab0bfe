// SPDX-License-Identifier: Apache-2.0
//
// What openssl says of a server's certificate.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

struct Certificate {
    std::string subject = {};  // "O = Example, CN = ldap.example.com"
    std::string issuer = {};
    std::optional<std::time_t> ends = {};
};

struct CertificateReport {
    std::string verdict = {};             // "ok", or openssl's reason ("certificate has expired")
    std::vector<Certificate> chain = {};  // as the server sent it, its own certificate first
    std::vector<std::string> names = {};  // host names and addresses of the first one
};

// Reads what "openssl s_client -showcerts" prints. Nothing when it has no verdict.
std::optional<CertificateReport> ParseCertificateReport(const std::string &output);

// The host names and addresses for which a certificate in DER stands (RFC 5280 section 4.2.1.6);
// none when the bytes make no sense.
std::vector<std::string> AlternativeNames(std::string_view der);

// Asks the server on `address` (a host name, an IP address in brackets or not) with StartTLS or
// with TLS from the first byte.
std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls);

}  // namespace zafo::cli
