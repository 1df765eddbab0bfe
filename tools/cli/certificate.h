// SPDX-License-Identifier: Apache-2.0
//
// A server's certificate, as openssl reports it.
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
    // Host names and addresses (RFC 5280 section 4.2.1.6). Unset: no alternative names of any kind,
    // so the common name counts.
    std::optional<std::vector<std::string>> names = {};
};

struct CertificateReport {
    std::string verdict = {};             // "ok", or openssl's reason ("certificate has expired")
    std::vector<Certificate> chain = {};  // as the server sent it, its own certificate first
};

// Parses the output of "openssl s_client -showcerts", everything but the names. Nothing without a
// verdict.
std::optional<CertificateReport> ParseCertificateReport(const std::string &output);

// Parses the output of "openssl x509 -subject -issuer -enddate -ext subjectAltName". Nothing if
// that is not a certificate.
std::optional<Certificate> ParseCertificate(const std::string &output);

// Whether `host`, a name or an address, matches one of a certificate's alternative names (RFC 6125
// section 6.4: "*" stands for the first label, case is ignored).
bool NamesInclude(const std::vector<std::string> &names, std::string_view host);

// Connects to the server at `host` (a host name or an IP address, with or without brackets), with
// StartTLS or with TLS from the first byte.
std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls);

// The first certificate in a PEM file; nothing if it has none.
std::optional<Certificate> ReadCertificateFile(const std::string &path);

// openssl's verdict on the certificate in a file and on its issuers, expiry aside: "ok", or the
// reason. Other certificates in the file count as intermediates.
std::string VerdictOnCertificateFile(Streams &streams, const std::string &path);

// Whether the LDAP tools accept a file's certificate for that host: by its alternative names or, if
// it has none, by its common name.
bool CertificateIsFor(const Certificate &certificate, const std::string &path,
                      const std::string &host);

}  // namespace zafo::cli
