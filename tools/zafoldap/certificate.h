// SPDX-License-Identifier: Apache-2.0
//
// What openssl says of a server's certificate.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace zafo::cli {

struct CertificateReport {
    std::string verdict = {};              // "ok", or openssl's reason ("certificate has expired")
    std::optional<std::time_t> ends = {};  // of the server's own certificate
    std::string subject = {};              // "O = Example, CN = ldap.example.com"
};

// Reads what "openssl s_client -showcerts" prints. Nothing when it has no verdict.
std::optional<CertificateReport> ParseCertificateReport(const std::string &output);

// Asks the server on `address` (a host name, an IP address in brackets or not) with StartTLS or
// with TLS from the first byte.
std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls);

}  // namespace zafo::cli
