// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server as the library sets it up, in the private root of one test binary,
// with the system's clients.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/rig/slapd.h"
#include "zafoldap.h"

namespace zafo::test {

inline constexpr const char *kService = "ldap-server";

// Settings that own their texts.
struct ServerSettings {
    std::string suffix = "dc=home,dc=example";
    std::string admin = "cn=admin," + suffix;
    std::string password = "correct horse";

    ZAFOLDAP_SERVER_PARAM Record() const;
};

// Who talks to the server; an empty DN is anonymous.
struct Identity {
    std::string dn = {};
    std::string password = {};
};

class OwnServer {
  public:
    // Enables the service and the server; throws on failure.
    explicit OwnServer(ServerSettings settings = {});
    ~OwnServer();
    OwnServer(const OwnServer &) = delete;
    OwnServer &operator=(const OwnServer &) = delete;

    // The server of this process, created on first use (more than 2 s).
    static OwnServer &Get();

    const ServerSettings &Settings() const { return settings_; }
    Identity Admin() const { return {settings_.admin, settings_.password}; }
    // The saved connection "root".
    const ZAFOLDAP_HOST &Host() const { return host_; }
    std::string UserDN(const std::string &name) const;
    std::string GroupDN(const std::string &name) const;

    // A user with a password and the server's default primary group.
    void AddUser(const std::string &name, const std::string &password) const;

    // Runs a system client with StartTLS, bound as `who`.
    rig::ProgramRun Client(const Identity &who, const std::string &tool,
                           const std::vector<std::string> &arguments,
                           std::string_view input = "") const;
    // Applied as the administrator; throws on failure.
    void Change(std::string_view ldif) const;

  private:
    ServerSettings settings_;
    ZAFOLDAP_HOST host_{};
};

// Stops the server and removes what enabling creates, including the saved connections.
void ForgetServer();

}  // namespace zafo::test
