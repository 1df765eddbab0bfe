// SPDX-License-Identifier: Apache-2.0
//
// Runs the installed program as a user would.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/rig/slapd.h"

namespace zafo::rig {

using Json = nlohmann::json;

constexpr const char *kConnections = "/usr/zafo/etc/private/ldapbrowser.conf";

ProgramRun Zafoldap(std::vector<std::string> arguments, std::string_view input = "");

// Runs with --json and checks that standard output is a single object of the form that all commands
// use.
Json ZafoldapJson(std::vector<std::string> arguments, int exit_code, std::string_view input = "");

// The same for zafoldapserver, whose `status` may exit with codes other than 0 without having
// failed.
ProgramRun Zafoldapserver(std::vector<std::string> arguments, std::string_view input = "");
Json ZafoldapserverJson(std::vector<std::string> arguments, int exit_code,
                        std::string_view input = "");

// A run's error object.
Json ErrorOf(const ProgramRun &run);

void WriteFile(const std::string &path, std::string_view text, unsigned mode = 0600);
std::string ReadFile(const std::string &path);

// Removes all saved connections.
void ForgetConnections();

}  // namespace zafo::rig
