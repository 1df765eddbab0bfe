// SPDX-License-Identifier: Apache-2.0
//
// What tests of the appliance's own server have in common: one server for all that leave it as
// they found it, the content of its database, and the codes of the last failure.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "tests/integration/integration.h"
#include "tests/integration/own_server.h"
#include "tests/rig/cipher.h"

namespace zafo::test {

inline constexpr const char *kConfiguration = "/usr/zafo/etc/openldap/slapd.conf";
inline constexpr const char *kAccessRules = "/usr/zafo/etc/openldap/slapd-acls.conf";
inline constexpr const char *kDatabase = "/usr/zafo/etc/openldap/data";
inline constexpr const char *kMarker = "/usr/zafo/etc/openldap/data/dn2id.bdb";
inline constexpr const char *kPidFile = "/var/run/slapd.pid";

// Made on first use, and again after its end.
OwnServer &SharedServer();
void EndSharedServer();

// Both error slots.
struct Codes {
    int library = 0;
    int platform = 0;
    bool operator==(const Codes &) const = default;
};
Codes LastCodes();
void PrintTo(const Codes &codes, std::ostream *out);

// 0 or -1 with the slots cleared before.
int Enable(const ServerSettings &settings);

// The running server's process; 0 when there is none.
int ServerPid();

// Whether slapd gives up root for a user of its own here.
bool HasServerUser();

// The database as slapcat(8) prints it, all attributes included; empty when it cannot be read.
std::string Slapcat();

// What of it was written by hand or by the library: without what the server keeps for itself.
std::vector<rig::LdifEntry> Content();
std::vector<std::string> ContentDNs();

// The identifiers of all Samba domains of the database.
std::vector<std::string> DomainSIDs();

// What the library adds offline to an empty database, and what enabling has added at its end.
std::vector<std::string> SkeletonDNs(const std::string &suffix);
std::vector<std::string> DirectoryDNs(const std::string &suffix);

class ServerTest : public testing::Test {
  protected:
    void SetUp() override { SKIP_WITHOUT_CIPHER(); }
};

// Tests that leave the server as they found it.
class SharedServerTest : public ServerTest {
  protected:
    static OwnServer &Server() { return SharedServer(); }
};

// Tests that begin on a machine that has never had a server, with the service enabled.
class NewMachineTest : public ServerTest {
  protected:
    void SetUp() override;
    ~NewMachineTest() override { ForgetServer(); }

    const ServerSettings settings_;
};

}  // namespace zafo::test
