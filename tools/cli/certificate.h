// SPDX-License-Identifier: Apache-2.0
//
// What openssl says of a server's certificate.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/streams.h"

namespace zafo::cli {

struct Certificate {
    std::string subject = {};  // "O = Example, CN = ldap.example.com"
    std::string issuer = {};
    std::optional<std::time_t> ends = {};
    // Host names and addresses (RFC 5280 section 4.2.1.6); unset: it has no alternative names of
    // any kind, and the common name counts.
    std::optional<std::vector<std::string>> names = {};
};

struct CertificateReport {
    std::string verdict = {};             // "ok", or openssl's reason ("certificate has expired")
    std::vector<Certificate> chain = {};  // as the server sent it, its own certificate first
};

// Reads what "openssl s_client -showcerts" prints: all but the names. Nothing when it has no
// verdict.
std::optional<CertificateReport> ParseCertificateReport(const std::string &output);

// Reads what "openssl x509 -subject -issuer -enddate -ext subjectAltName" prints. Nothing when that
// is no certificate.
std::optional<Certificate> ParseCertificate(const std::string &output);

// Whether one of a certificate's alternative names is a host's or an address (RFC 6125 section 6.4:
// "*" stands for the first label, letter case does not count).
bool NamesInclude(const std::vector<std::string> &names, std::string_view host);

// Asks the server on `address` (a host name, an IP address in brackets or not) with StartTLS or
// with TLS from the first byte.
std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls);

// Of a file in PEM: its first certificate; nothing when there is none.
std::optional<Certificate> ReadCertificateFile(const std::string &path);

// What openssl says of the certificate in a file and those who signed it, their end dates aside:
// "ok", or its reason. Those in the file itself count as signers between it and the authority.
std::string VerdictOnCertificateFile(Streams &streams, const std::string &path);

// Whether the LDAP tools take the certificate of a file for that host: by its alternative names or,
// without any, by its common name.
bool CertificateIsFor(const Certificate &certificate, const std::string &path,
                      const std::string &host);

}  // namespace zafo::cli
