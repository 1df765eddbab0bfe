// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/local_server.h"

#include <unistd.h>

#include <array>
#include <charconv>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "base/listen_urls.h"
#include "platform/process.h"
#include "platform/service.h"

namespace zafo::cli {

namespace {

constexpr int kLdapPort = 389;
constexpr int kLdapsPort = 636;

}  // namespace

std::string_view Name(ServerState state) {
    constexpr std::string_view kNames[] = {"running", "stopped", "not set up"};
    return kNames[static_cast<int>(state)];
}

LocalServer LookAtServer() {
    LocalServer server;
    server.enabled = QLIBServiceIsEnabled(kServerService) == 1;
    server.readable = access(kSlapdConf, F_OK) != 0 || access(kSlapdConf, R_OK) == 0;
    server.suffix = DirectiveOf(kSlapdConf, "suffix");
    server.admin_dn = DirectiveOf(kSlapdConf, "rootdn");
    if (server.suffix.empty() && server.readable) return server;
    // The library reports a disabled server as stopped even if it runs.
    server.pid = QLIBCReadPidFile(kSlapdPidFile);
    server.state = server.pid > 0 ? ServerState::kRunning : ServerState::kStopped;
    return server;
}

LocalServer RequireServer() {
    LocalServer server = LookAtServer();
    if (!server.SetUp()) throw OwnFailure(Message::kServerNotSetUp, {});
    return server;
}

std::optional<ListenAddress> ParseListenUrl(const std::string &url) {
    const size_t slashes = url.find("://");
    if (slashes == std::string::npos) return std::nullopt;
    ListenAddress address{.url = url};
    const std::string scheme = url.substr(0, slashes);
    if (scheme != "ldap" && scheme != "ldaps") return std::nullopt;
    address.tls = scheme == "ldaps";
    address.port = address.tls ? kLdapsPort : kLdapPort;
    std::string rest = url.substr(slashes + 3);
    rest.resize(std::min(rest.find('/'), rest.size()));
    const size_t colon =
        rest.find(':', rest.starts_with('[') ? std::min(rest.find(']'), rest.size()) : 0);
    if (colon != std::string::npos) {
        std::from_chars(rest.data() + colon + 1, rest.data() + rest.size(), address.port);
        rest.resize(colon);
    }
    if (rest.starts_with('[') && rest.ends_with(']')) rest = rest.substr(1, rest.size() - 2);
    address.host = rest == "*" ? "" : rest;
    return address;
}

std::vector<ListenAddress> ListenAddresses() {
    std::vector<ListenAddress> addresses;
    for (const std::string &url : ListenUrls({kServiceSettings, kServiceDefaults})) {
        if (std::optional<ListenAddress> address = ParseListenUrl(url))
            addresses.push_back(std::move(*address));
    }
    return addresses;
}

int StartTlsPort() {
    for (const ListenAddress &address : ListenAddresses()) {
        if (!address.tls) return address.port;
    }
    return 0;
}

std::string SizeInWords(unsigned long long bytes) {
    constexpr double kStep = 1024;
    constexpr std::array<std::string_view, 5> kUnits = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    auto size = static_cast<double>(bytes);
    size_t unit = 0;
    for (; size >= kStep && unit + 1 < kUnits.size(); ++unit)
        size /= kStep;
    return unit == 0 ? fmt::format("{} bytes", bytes)
                     : fmt::format("{:.{}f} {}", size, size < 10 ? 1 : 0, kUnits[unit]);
}

Json SizeFor(const Session &session, std::optional<unsigned long long> bytes) {
    if (!bytes) return {};
    return session.Options().form == Form::kTable ? Json(SizeInWords(*bytes)) : Json(*bytes);
}

std::string TimeText(std::time_t when) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(when));
}

std::string DateText(std::time_t when) {
    return fmt::format("{:%Y-%m-%d}", fmt::gmtime(when));
}

}  // namespace zafo::cli
