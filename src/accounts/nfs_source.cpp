// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/nfs_source.h"

#include <arpa/inet.h>

#include <algorithm>

#include "base/ascii.h"

namespace zafo {

namespace {

constexpr size_t kLongestHost = 253;   // of a host name (RFC 1035)
constexpr size_t kLongestPath = 4095;  // PATH_MAX

// A host name or an IPv4 address. A single label is enough: names are often local.
bool IsHostName(std::string_view host) {
    return !host.empty() && host.size() <= kLongestHost && IsAlphanumeric(host.front()) &&
           std::ranges::all_of(
               host, [](char c) { return IsAlphanumeric(c) || c == '.' || c == '-' || c == '_'; });
}

// "[fe80::1%eth0]"
bool IsBracketedIPv6(std::string_view host) {
    if (!host.starts_with('[') || !host.ends_with(']')) return false;
    host = host.substr(1, host.size() - 2);
    const size_t zone = host.find('%');
    if (zone != std::string_view::npos && !IsHostName(host.substr(zone + 1))) return false;
    char text[INET6_ADDRSTRLEN] = "";
    if (host.substr(0, zone).copy(text, sizeof text) == sizeof text) return false;
    in6_addr address;
    return inet_pton(AF_INET6, text, &address) == 1;
}

// ASCII control characters, and those of Latin-1 in UTF-8 (U+0080 to U+009F).
bool HasControl(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < ' ' || byte == 0x7F) return true;
        if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0)
            return true;
    }
    return false;
}

bool HasParent(std::string_view path) {
    for (size_t at = path.find("/.."); at != std::string_view::npos;
         at = path.find("/..", at + 1)) {
        if (at + 3 == path.size() || path[at + 3] == '/') return true;
    }
    return false;
}

const char *FaultOfPath(std::string_view path) {
    return HasControl(path)                            ? "it holds control characters"
           : path.size() > kLongestPath                ? "the path is too long"
           : path.find('#') != std::string_view::npos  ? "the path holds \"#\""
           : path.find("//") != std::string_view::npos ? "the path holds \"//\""
           : HasParent(path)                           ? "the path holds \"..\""
                                                       : nullptr;
}

}  // namespace

const char *FaultOfNfsSource(std::string_view source) {
    const size_t end = source.starts_with('[') ? source.find(']') : 0;
    const size_t colon = end == std::string_view::npos ? end : source.find(":/", end);
    if (colon == std::string_view::npos) return "it is not HOST:/PATH";
    const std::string_view host = source.substr(0, colon);
    if (!IsHostName(host) && !IsBracketedIPv6(host))
        return "what stands before \":/\" is no host name and no address";
    return FaultOfPath(source.substr(colon + 1));
}

}  // namespace zafo
