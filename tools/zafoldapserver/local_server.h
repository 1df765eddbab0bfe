// SPDX-License-Identifier: Apache-2.0
//
// What there is of the appliance's directory server: seen from its files and its process, never
// asked over the network.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli/json_document.h"

namespace zafo::cli {

enum class ServerState { kRunning, kStopped, kNotSetUp };

std::string_view Name(ServerState state);

struct LocalServer {
    ServerState state = ServerState::kNotSetUp;
    bool readable = true;  // slapd.conf; what it says is empty otherwise
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

// Nothing for "ldapi" and others that have no port.
std::optional<ListenAddress> ParseListenUrl(const std::string &url);
std::vector<ListenAddress> ListenAddresses();

// The port for clear text and StartTLS; 0: there is none.
int StartTlsPort();

// Bytes that a file takes on disk; nothing when there is no such file.
std::optional<unsigned long long> AllocatedSize(const char *path);

// "12.3 MiB"
std::string SizeInWords(unsigned long long bytes);

// "2027-02-28 14:03:00", in the machine's own time, and "2027-02-28" in UTC.
std::string TimeText(std::time_t when);
std::string DateText(std::time_t when);

}  // namespace zafo::cli
