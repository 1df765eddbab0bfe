// SPDX-License-Identifier: Apache-2.0
//
// What must be true before the server is set up. Nothing is changed here: whatever fails leaves
// the machine as it was.
#pragma once

#include <string>
#include <vector>

#include "tools/cli/streams.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/slapd_conf.h"

namespace zafo::cli {

// What is going to be written.
struct WantedServer {
    std::string suffix;
    std::string admin_dn;
    std::string configuration;  // staged, without the password
    std::string rules;
};

// Throws Failure ("folder_unwritable", "space_low", "port_taken", "other_database",
// "administrator_entry", "configuration_refused", "slapd_missing"). What was found to be good, a sentence each.
std::vector<std::string> CheckBeforeEnabling(Streams &streams, const LocalServer &before,
                                             const WantedServer &wanted, const Staging &staging);

// Throws Failure ("port_taken") when another program has a port that the server listens on.
void CheckPorts();

// The folder itself, or the nearest above it that exists.
std::string ExistingFolder(std::string path);

}  // namespace zafo::cli
