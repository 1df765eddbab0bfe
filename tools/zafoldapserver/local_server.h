// SPDX-License-Identifier: Apache-2.0
//
// The state of the appliance's directory server, from its files and its process, never over the
// network.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/session.h"

namespace zafo::cli {

// In the system log.
inline constexpr std::string_view kLoggedServer = "service=ldap-server";

enum class ServerState { kRunning, kStopped, kNotSetUp };

std::string_view Name(ServerState state);

struct LocalServer {
    ServerState state = ServerState::kNotSetUp;
    bool readable = true;  // slapd.conf; its values are empty otherwise
    bool enabled = false;
    int pid = 0;
    std::string suffix = {};
    std::string admin_dn = {};

    bool SetUp() const { return state != ServerState::kNotSetUp; }
    bool Running() const { return state == ServerState::kRunning; }
};

LocalServer LookAtServer();

// Throws Failure ("server_not_set_up").
LocalServer RequireServer();

// A URL that the server listens on.
struct ListenAddress {
    std::string url = {};
    std::string host = {};  // empty: all addresses of the machine
    int port = 0;
    bool tls = false;  // from the first byte
};

// std::nullopt for "ldapi" and other URLs without a port.
std::optional<ListenAddress> ParseListenUrl(const std::string &url);
std::vector<ListenAddress> ListenAddresses();

// The port for plain LDAP and StartTLS; 0 if there is none.
int StartTlsPort();

// "1.2 MiB", "12 MiB"
std::string SizeInWords(unsigned long long bytes);
// A number for programs, text for people.
Json SizeFor(const Session &session, std::optional<unsigned long long> bytes);

// "2027-02-28 14:03:00" in local time, and "2027-02-28" in UTC.
std::string TimeText(std::time_t when);
std::string DateText(std::time_t when);

}  // namespace zafo::cli
