// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/certificate.h"

#include "base/appliance_paths.h"
#include "platform/crypt.h"
#include "platform/process.h"

#include <arpa/inet.h>
#include <strings.h>
#include <unistd.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace zafo::cli {

namespace {

// The extension's identifier in DER.
constexpr std::string_view kSubjectAltName("\x06\x03\x55\x1d\x11", 5);

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

std::optional<std::time_t> DateAfter(std::string_view text, std::string_view mark) {
    std::tm when{};
    if (strptime(After(text, mark).c_str(), "%b %d %H:%M:%S %Y", &when) == nullptr)
        return std::nullopt;
    return timegm(&when);
}

// " 0 s:SUBJECT", "   i:ISSUER", "… NotAfter: DATE", one group for each certificate.
std::vector<Certificate> ChainIn(std::string_view output) {
    std::vector<Certificate> chain;
    for (;;) {
        const std::string mark = fmt::format("\n {} s:", chain.size());
        const size_t at = output.find(mark);
        if (at == std::string_view::npos) return chain;
        output.remove_prefix(at + 1);
        const std::string_view own =
            output.substr(0, output.find(fmt::format("\n {} s:", chain.size() + 1)));
        chain.push_back({After(own, " s:"), After(own, " i:"), DateAfter(own, "NotAfter: ")});
    }
}

// The bytes of the first certificate in PEM.
std::string FirstDer(std::string_view output) {
    const size_t begin = output.find("-----BEGIN CERTIFICATE-----\n");
    const size_t end = output.find("-----END CERTIFICATE-----", begin);
    if (begin == std::string_view::npos || end == std::string_view::npos) return {};
    std::string base64;
    for (const char c : output.substr(begin, end - begin).substr(28)) {
        if (c != '\n' && c != '\r') base64 += c;
    }
    std::string der(base64.size(), '\0');
    size_t size = 0;
    if (ZAFOEncodingBase64Decode(base64.data(), base64.size(), der.data(), &size) == 0) return {};
    der.resize(size);
    return der;
}

std::string DerOfFile(const std::string &path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return FirstDer(text.str());
}

// An element of DER: its tag, and its content cut off the text. Nothing at the end or for a
// length that the text does not have.
struct Element {
    unsigned char tag;
    std::string_view content;
};

std::optional<Element> TakeElement(std::string_view &der) {
    if (der.size() < 2) return std::nullopt;
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(der[i]); };
    size_t length = byte(1), head = 2;
    if (length > 0x80) {
        const size_t bytes = length - 0x80;
        if (bytes > 3 || der.size() < 2 + bytes) return std::nullopt;
        length = 0;
        for (size_t i = 0; i < bytes; ++i)
            length = length << 8 | byte(2 + i);
        head += bytes;
    }
    if (length == 0x80 || der.size() - head < length) return std::nullopt;
    const Element element{byte(0), der.substr(head, length)};
    der.remove_prefix(head + length);
    return element;
}

// A GeneralName that is a host name or an address.
std::string NameIn(const Element &element) {
    constexpr unsigned char kDnsName = 0x82, kIpAddress = 0x87;
    char text[INET6_ADDRSTRLEN] = {};
    const bool six = element.content.size() == sizeof(in6_addr);
    if (element.tag == kDnsName) return std::string(element.content);
    if (element.tag != kIpAddress || (!six && element.content.size() != sizeof(in_addr))) return {};
    inet_ntop(six ? AF_INET6 : AF_INET, element.content.data(), text, sizeof text);
    return text;
}

// Standard output of openssl; nothing when it cannot be started.
std::optional<std::string> RunOpenssl(std::vector<const char *> argv) {
    argv.push_back(nullptr);
    FILE *stream = QLIBCPopenv(kOpenssl, "r", const_cast<char *const *>(argv.data()));
    if (stream == nullptr) return std::nullopt;
    std::string output = ReadAll(stream);
    QLIBCPclose(stream);
    return output;
}

}  // namespace

bool HasAlternativeNames(std::string_view der) {
    return der.find(kSubjectAltName) != std::string_view::npos;
}

bool NamesInclude(const std::vector<std::string> &names, std::string_view host) {
    const auto same = [](std::string_view a, std::string_view b) {
        return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
    };
    return std::ranges::any_of(names, [&](std::string_view name) {
        if (!name.starts_with("*.")) return same(name, host);
        const size_t dot = host.find('.');
        return dot != host.npos && dot > 0 && same(name.substr(1), host.substr(dot));
    });
}

std::vector<std::string> AlternativeNames(std::string_view der) {
    constexpr unsigned char kBoolean = 0x01, kOctets = 0x04, kSequence = 0x30;
    const size_t at = der.find(kSubjectAltName);
    if (at == std::string_view::npos) return {};
    der.remove_prefix(at + kSubjectAltName.size());
    std::optional<Element> element = TakeElement(der);
    if (element && element->tag == kBoolean) element = TakeElement(der);
    if (!element || element->tag != kOctets) return {};
    std::string_view list = element->content;
    element = TakeElement(list);
    if (!element || element->tag != kSequence) return {};
    list = element->content;
    std::vector<std::string> names;
    while ((element = TakeElement(list))) {
        std::string name = NameIn(*element);
        if (!name.empty()) names.push_back(std::move(name));
    }
    return names;
}

std::optional<CertificateReport> ParseCertificateReport(const std::string &output) {
    // "Verify return code: 10 (certificate has expired)"
    const std::string code = After(output, "Verify return code: ");
    const size_t open = code.find('('), close = code.rfind(')');
    if (open == std::string::npos || close == std::string::npos) return std::nullopt;
    const std::string der = FirstDer(output);
    return CertificateReport{.verdict = code.substr(open + 1, close - open - 1),
                             .chain = ChainIn(output),
                             .names = AlternativeNames(der),
                             .alternative = HasAlternativeNames(der)};
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
    const std::optional<std::string> output = RunOpenssl(std::move(argv));
    if (!output) return std::nullopt;
    return ParseCertificateReport(*output);
}

std::optional<Certificate> ReadCertificateFile(const std::string &path) {
    const std::optional<std::string> output = RunOpenssl(
        {kOpenssl, "x509", "-noout", "-subject", "-issuer", "-enddate", "-in", path.c_str()});
    if (!output || !output->starts_with("subject=")) return std::nullopt;
    return Certificate{After(*output, "subject="), After(*output, "\nissuer="),
                       DateAfter(*output, "\nnotAfter=")};
}

std::vector<std::string> NamesInCertificateFile(const std::string &path) {
    return AlternativeNames(DerOfFile(path));
}

std::string VerdictOnCertificateFile(Streams &streams, const std::string &path) {
    std::vector<const char *> argv = {kOpenssl,     "verify",     "-no_check_time",
                                      "-untrusted", path.c_str(), path.c_str()};
    if (access(kAuthority, R_OK) == 0)
        argv.insert(argv.begin() + 2, {"-CAfile", kAuthority, "-no-CApath", "-no-CAstore"});
    streams.ForgetToolWords();
    const std::optional<std::string> output = RunOpenssl(std::move(argv));
    if (output && output->ends_with(": OK\n")) return "ok";
    // "error 20 at 0 depth lookup: unable to get local issuer certificate"
    const std::string reason = After(streams.ToolWords(), "lookup: ");
    return reason.empty() ? "it cannot be read" : reason;
}

bool CertificateIsFor(const std::string &path, const std::string &host) {
    const std::string der = DerOfFile(path);
    if (HasAlternativeNames(der)) return NamesInclude(AlternativeNames(der), host);
    const std::optional<std::string> output =
        RunOpenssl({kOpenssl, "x509", "-noout", "-checkhost", host.c_str(), "-in", path.c_str()});
    return output && output->find("does match") != std::string::npos;
}

}  // namespace zafo::cli
