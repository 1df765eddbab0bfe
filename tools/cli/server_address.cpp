// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/server_address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "base/ascii.h"
#include "platform/ldap.h"
#include "tools/cli/failure.h"

namespace zafo::cli {

namespace {

constexpr int kHighestPort = 65535;

bool IsHostCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '_';
}

// Why a host is invalid; nullptr: it is valid.
const char *HostFault(const std::string &host) {
    if (host.empty()) return "the host is missing";
    if (host.front() == '[') {
        in6_addr address{};
        const std::string bare = host.substr(1, host.size() - 2);
        return inet_pton(AF_INET6, bare.c_str(), &address) == 1 ? nullptr
                                                                : "this is not an IPv6 address";
    }
    if (host.front() == '-' || !std::ranges::all_of(host, IsHostCharacter)) {
        return "a host name may contain only letters, digits, dots and hyphens";
    }
    return nullptr;
}

int PortOf(std::string_view text) {
    const int port = WholeNumber<int>(text).value_or(-1);
    return port >= 1 && port <= kHighestPort ? port : -1;
}

// Splits HOST, HOST:PORT or [IPv6]:PORT; an invalid port is -1.
ServerAddress Split(std::string_view text) {
    const size_t bracket = text.starts_with('[') ? text.find(']') : std::string_view::npos;
    const size_t from = bracket == std::string_view::npos ? 0 : bracket;
    const size_t colon = text.find(':', from);
    ServerAddress address{.host = std::string(text.substr(0, colon))};
    if (colon != std::string_view::npos) address.port = PortOf(text.substr(colon + 1));
    return address;
}

// Cuts "SCHEME://" off and returns it in lower case.
std::string TakeScheme(std::string_view &text) {
    const size_t end = text.find("://");
    if (end == std::string_view::npos) return {};
    std::string scheme = Folded(text.substr(0, end));
    text.remove_prefix(end + 3);
    return scheme;
}

}  // namespace

std::string ServerAddress::Text() const {
    return port > 0 ? fmt::format("{}:{}", host, port) : host;
}

int ServerAddress::PortFor(int ssl_type) const {
    constexpr int kLdap = 389, kLdaps = 636;
    if (port > 0) return port;
    return ssl_type == ZAFOLDAP_SSL_LDAPS ? kLdaps : kLdap;
}

std::string ServerAddress::BareHost() const {
    return host.starts_with('[') && host.ends_with(']') ? host.substr(1, host.size() - 2) : host;
}

TypedAddress ParseTypedAddress(std::string_view text) {
    const std::string whole(text);
    const auto refuse = [&](const char *reason) -> TypedAddress {
        throw OwnFailure(Message::kBadAddress, {.subject = whole, .reason = reason});
    };
    TypedAddress typed;
    typed.scheme = TakeScheme(text);
    if (!typed.scheme.empty() && typed.scheme != "ldap" && typed.scheme != "ldaps") {
        return refuse("only ldap:// and ldaps:// are supported");
    }
    if (text.ends_with('/')) text.remove_suffix(1);
    const auto colons = std::ranges::count(text, ':');
    if (colons > 1 && !text.starts_with('[')) return refuse("an IPv6 address must be in [ ]");
    typed.server = Split(text);
    if (typed.server.host.starts_with('[') && !typed.server.host.ends_with(']')) {
        return refuse("the closing ] is missing");
    }
    if (const char *fault = HostFault(typed.server.host)) return refuse(fault);
    if (typed.server.port < 0) return refuse("the port must be a number from 1 to 65535");
    return typed;
}

std::vector<ServerAddress> ParseRecordAddress(std::string_view text) {
    std::vector<ServerAddress> servers;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        std::string_view one = text.substr(0, end);
        TakeScheme(one);
        if (!one.empty()) servers.push_back(Split(one));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return servers;
}

std::string RecordAddress(const std::vector<ServerAddress> &servers, int ssl_type) {
    const char *scheme = ssl_type == ZAFOLDAP_SSL_LDAPS ? "ldaps://" : "ldap://";
    std::string text;
    for (const ServerAddress &server : servers) {
        if (!text.empty()) text.append(" ").append(scheme);
        text += server.Text();
    }
    return text;
}

}  // namespace zafo::cli
