// SPDX-License-Identifier: Apache-2.0
//
// The checks of the server's certificate, worded as openssl, and so the clients, refuse one.
#include <unistd.h>

#include <array>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/appliance_paths.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

constexpr std::time_t kWarnDays = 30;

constexpr const char *kOwnFix =
    "zafoldapserver restart renews one signed by this machine's own authority; have any other "
    "renewed by its issuer";

std::string Replace(const std::string &file) {
    return fmt::format(
        "clients refuse it: replace it, or move {} away and let zafoldapserver restart make one",
        file);
}

CheckStep NoCertificate(const CheckedServer &checked) {
    if (checked.certificate_file.empty())
        return Wrong("the configuration names no certificate",
                     "add TLSCertificateFile, or rewrite the configuration: zafoldapserver enable");
    return Wrong(fmt::format("{} cannot be read", checked.certificate_file),
                 "zafoldapserver restart makes a missing one");
}

std::optional<Certificate> Read(const CheckedServer &checked) {
    if (checked.certificate_file.empty()) return std::nullopt;
    return ReadCertificateFile(checked.certificate_file);
}

// Whether the running server still presents a certificate other than the one in the file.
bool IsOutdated(const CheckedServer &checked, const Certificate &in_file) {
    const int port = StartTlsPort();
    if (!checked.server.Running() || port == 0) return false;
    const auto report = AskForCertificate("localhost", port, /*start_tls=*/true);
    if (!report || report->chain.empty()) return false;
    const Certificate &shown = report->chain.front();
    return shown.subject != in_file.subject || shown.issuer != in_file.issuer ||
           shown.ends != in_file.ends;
}

}  // namespace

CheckStep CheckCertificateChain(CheckedServer &checked) {
    const auto certificate = Read(checked);
    if (!certificate) return NoCertificate(checked);
    const std::string verdict =
        VerdictOnCertificateFile(checked.session.streams, checked.certificate_file);
    if (verdict != "ok") {
        return Wrong(
            fmt::format("certificate of {}: {}", certificate->subject, verdict),
            fmt::format(
                "it is signed by {}: put that authority's certificate into {} here and on "
                "the clients, or move {} away and let zafoldapserver restart make a new one",
                certificate->issuer, kAuthority, checked.certificate_file));
    }
    if (IsOutdated(checked, *certificate))
        return Warned("the server still uses the previous certificate", "zafoldapserver restart");
    return Good(fmt::format("{}, signed by {}", certificate->subject, certificate->issuer));
}

CheckStep CheckCertificateNames(CheckedServer &checked) {
    const auto certificate = Read(checked);
    if (!certificate) return NoCertificate(checked);
    std::array<char, 256> own{};
    gethostname(own.data(), own.size() - 1);
    std::vector<std::string> missing;
    for (const std::string &host : {std::string("localhost"), std::string(own.data())}) {
        if (!CertificateIsFor(*certificate, checked.certificate_file, host))
            missing.push_back(host);
    }
    const std::string names =
        certificate->names ? fmt::format("{}", fmt::join(*certificate->names, ", ")) : "";
    if (missing.empty()) return Good(names);
    return Wrong(fmt::format("certificate of {}: hostname mismatch for {}; it is for {}",
                             certificate->subject, fmt::join(missing, " and "),
                             names.empty() ? "no name" : names),
                 Replace(checked.certificate_file));
}

CheckStep JudgeEnd(const std::string &whose, const std::string &subject, std::time_t ends,
                   std::time_t now) {
    const std::time_t days = (ends - now) / (24 * 3600);
    if (ends <= now)
        return Wrong(
            fmt::format("{} of {}: certificate has expired, on {}", whose, subject, DateText(ends)),
            kOwnFix);
    const std::string cause =
        fmt::format("{} of {} ends on {}, in {} days", whose, subject, DateText(ends), days);
    return days < kWarnDays ? Warned(cause, kOwnFix) : Good(cause);
}

CheckStep CheckCertificateEnd(CheckedServer &checked) {
    const auto certificate = Read(checked);
    if (!certificate || !certificate->ends) return NoCertificate(checked);
    return JudgeEnd("certificate", certificate->subject, *certificate->ends, std::time(nullptr));
}

CheckStep CheckAuthorityEnd(CheckedServer &) {
    const auto authority = ReadCertificateFile(kAuthority);
    if (!authority || !authority->ends)
        return Wrong(fmt::format("{} cannot be read: nothing here trusts the server", kAuthority),
                     "put the certificate of the authority there; zafoldapserver restart makes a "
                     "missing one");
    return JudgeEnd("authority", authority->subject, *authority->ends, std::time(nullptr));
}

}  // namespace zafo::cli
