// SPDX-License-Identifier: Apache-2.0
//
// Shared by tests of the appliance's own server: one server for all tests that leave it as they
// found it, the content of its database, and the codes of the last failure.
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

// Created on first use, and again after EndSharedServer.
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

// 0 or -1, with the slots cleared beforehand.
int Enable(const ServerSettings &settings);

// The running server's pid; 0 if there is none.
int ServerPid();

// Whether slapd switches from root to a user of its own here.
bool HasServerUser();

// The database as printed by slapcat(8), with all attributes; empty when it cannot be read.
std::string Slapcat();

// The same without operational attributes.
std::vector<rig::LdifEntry> Content();
std::vector<std::string> ContentDNs();

// The SIDs of all Samba domains in the database.
std::vector<std::string> DomainSIDs();

// What the library adds offline to an empty database, and what enabling adds at its end.
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
