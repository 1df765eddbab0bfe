// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/certificate.h"

#include <arpa/inet.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "tools/cli/tool_run.h"

namespace zafo::cli {

namespace {

// The rest of the line after the first `mark`.
std::string After(std::string_view text, std::string_view mark) {
    const size_t at = text.find(mark);
    if (at == std::string_view::npos) return {};
    text.remove_prefix(at + mark.size());
    return std::string(text.substr(0, text.find('\n')));
}

bool IsAddress(const std::string &host) {
    in6_addr six{};
    in_addr four{};
    return inet_pton(AF_INET6, host.c_str(), &six) == 1 ||
           inet_pton(AF_INET, host.c_str(), &four) == 1;
}

std::optional<std::time_t> DateAfter(std::string_view text, std::string_view mark) {
    std::tm when{};
    if (strptime(After(text, mark).c_str(), "%b %d %H:%M:%S %Y", &when) == nullptr)
        return std::nullopt;
    return timegm(&when);
}

// " 0 s:SUBJECT", "   i:ISSUER", "… NotAfter: DATE", one group per certificate.
std::vector<Certificate> ChainIn(std::string_view output) {
    std::vector<Certificate> chain;
    for (;;) {
        const std::string mark = fmt::format("\n {} s:", chain.size());
        const size_t at = output.find(mark);
        if (at == std::string_view::npos) return chain;
        output.remove_prefix(at + 1);
        const std::string_view own =
            output.substr(0, output.find(fmt::format("\n {} s:", chain.size() + 1)));
        chain.push_back({After(own, " s:"), After(own, " i:"), DateAfter(own, "NotAfter: "), {}});
    }
}

// openssl's standard output; nothing if it cannot be started.
std::optional<std::string> RunOpenssl(std::vector<std::string> words) {
    words.insert(words.begin(), kOpenssl);
    std::optional<ToolRun> run = RunTool(words);
    return run ? std::optional(std::move(run->output)) : std::nullopt;
}

// A host name or an address; empty for names of other kinds.
std::string NameIn(std::string_view text) {
    constexpr std::string_view kHost = "DNS:", kAddress = "IP Address:";
    if (text.starts_with(kHost)) return std::string(text.substr(kHost.size()));
    if (!text.starts_with(kAddress)) return {};
    const std::string address(text.substr(kAddress.size()));
    for (const int family : {AF_INET, AF_INET6}) {
        in6_addr bytes{};
        char usual[INET6_ADDRSTRLEN] = {};
        if (inet_pton(family, address.c_str(), &bytes) == 1)
            return inet_ntop(family, &bytes, usual, sizeof usual);
    }
    return {};
}

// "X509v3 Subject Alternative Name: \n    DNS:ldap.example.com, IP Address:192.0.2.1"
std::optional<std::vector<std::string>> NamesIn(std::string_view output) {
    const size_t at = output.find("\nX509v3 Subject Alternative Name:");
    if (at == std::string_view::npos) return std::nullopt;
    const std::string list = After(output.substr(at + 1), "\n    ");
    std::vector<std::string> names;
    for (size_t begin = 0; begin < list.size();) {
        const size_t end = std::min(list.find(", ", begin), list.size());
        std::string name = NameIn(std::string_view(list).substr(begin, end - begin));
        if (!name.empty()) names.push_back(std::move(name));
        begin = end + 2;
    }
    return names;
}

// The names of the first PEM certificate in a text.
std::optional<std::vector<std::string>> NamesInText(std::string_view text) {
    const UniqueFd file(memfd_create("certificate", MFD_CLOEXEC));
    if (file.Get() < 0 || write(file.Get(), text.data(), text.size()) < 0) return std::nullopt;
    const auto certificate =
        ReadCertificateFile(fmt::format("/proc/{}/fd/{}", getpid(), file.Get()));
    return certificate ? certificate->names : std::nullopt;
}

}  // namespace

bool NamesInclude(const std::vector<std::string> &names, std::string_view host) {
    return std::ranges::any_of(names, [&](std::string_view name) {
        if (!name.starts_with("*.")) return EqualIgnoringCase(name, host);
        const size_t dot = host.find('.');
        return dot != host.npos && dot > 0 && EqualIgnoringCase(name.substr(1), host.substr(dot));
    });
}

std::optional<CertificateReport> ParseCertificateReport(const std::string &output) {
    // "Verify return code: 10 (certificate has expired)"
    const std::string code = After(output, "Verify return code: ");
    const size_t open = code.find('('), close = code.rfind(')');
    if (open == std::string::npos || close == std::string::npos) return std::nullopt;
    return CertificateReport{.verdict = code.substr(open + 1, close - open - 1),
                             .chain = ChainIn(output)};
}

std::optional<CertificateReport> AskForCertificate(const std::string &host, int port,
                                                   bool start_tls) {
    const bool literal = IsAddress(host);
    const bool six = literal && host.find(':') != std::string::npos;
    const std::string address =
        fmt::format("{}{}{}:{}", six ? "[" : "", host, six ? "]" : "", port);
    std::vector<std::string> words = {
        "s_client", "-showcerts", "-connect", address, literal ? "-verify_ip" : "-verify_hostname",
        host};
    if (start_tls) words.insert(words.end(), {"-starttls", "ldap"});
    if (access(kAuthority, R_OK) == 0) words.insert(words.end(), {"-CAfile", kAuthority});
    const std::optional<std::string> output = RunOpenssl(std::move(words));
    if (!output) return std::nullopt;
    std::optional<CertificateReport> report = ParseCertificateReport(*output);
    if (report && !report->chain.empty()) report->chain.front().names = NamesInText(*output);
    return report;
}

std::optional<Certificate> ParseCertificate(const std::string &output) {
    if (!output.starts_with("subject=")) return std::nullopt;
    return Certificate{After(output, "subject="), After(output, "\nissuer="),
                       DateAfter(output, "\nnotAfter="), NamesIn(output)};
}

std::optional<Certificate> ReadCertificateFile(const std::string &path) {
    // openssl blocks on a pipe with no writer, and takes minutes over megabytes of garbage.
    constexpr std::uintmax_t kMost = 1 << 20;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error) ||
        std::filesystem::file_size(path, error) > kMost)
        return std::nullopt;
    const std::optional<std::string> output =
        RunOpenssl({"x509", "-noout", "-subject", "-issuer", "-enddate", "-ext", "subjectAltName",
                    "-in", path});
    return output ? ParseCertificate(*output) : std::nullopt;
}

std::string VerdictOnCertificateFile(Streams &streams, const std::string &path) {
    std::vector<std::string> words = {"verify"};
    if (access(kAuthority, R_OK) == 0)
        words.insert(words.end(), {"-CAfile", kAuthority, "-no-CApath", "-no-CAstore"});
    words.insert(words.end(), {"-no_check_time", "-untrusted", path, path});
    streams.ForgetToolWords();
    const std::optional<std::string> output = RunOpenssl(std::move(words));
    if (output && output->ends_with(": OK\n")) return "ok";
    // "error 20 at 0 depth lookup: unable to get local issuer certificate"
    const std::string reason = After(streams.ToolWords(), "lookup: ");
    return reason.empty() ? "it cannot be read" : reason;
}

bool CertificateIsFor(const Certificate &certificate, const std::string &path,
                      const std::string &host) {
    if (certificate.names) return NamesInclude(*certificate.names, host);
    const std::optional<std::string> output =
        RunOpenssl({"x509", "-noout", "-checkhost", host, "-in", path});
    return output && output->find("does match") != std::string::npos;
}

}  // namespace zafo::cli
