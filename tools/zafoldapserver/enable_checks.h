// SPDX-License-Identifier: Apache-2.0
//
// The preconditions for setting up the server. Nothing is changed here: a failure leaves the
// machine as it was.
#pragma once

#include <string>
#include <vector>

#include "tools/cli/streams.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/slapd_conf.h"

namespace zafo::cli {

// What is about to be written.
struct WantedServer {
    std::string suffix;
    std::string admin_dn;
    std::string configuration;  // staged, without the password
    std::string rules;
};

// Throws Failure ("folder_unwritable", "space_low", "port_taken", "other_database",
// "administrator_entry", "configuration_refused", "slapd_missing"). Returns a sentence for each
// check passed.
std::vector<std::string> CheckBeforeEnabling(Streams &streams, const LocalServer &before,
                                             const WantedServer &wanted, const Staging &staging);

// Throws Failure ("port_taken") when another program uses a port that the server listens on.
void CheckPorts();

// The folder itself, or its nearest existing parent.
std::string ExistingFolder(std::string path);

}  // namespace zafo::cli
