// SPDX-License-Identifier: Apache-2.0
//
// The checks of a connection, from its settings to listing users.
#pragma once

#include <optional>
#include <string>

#include "tools/cli/check_steps.h"
#include "tools/cli/saved_connection.h"

namespace zafo::cli {

// Runs the steps up to the first failure and prints every step, including skipped ones.
// `settings` says where the connection comes from. Returns the failure of the failed step, if any.
std::optional<Failure> RunChecks(Streams &streams, const Connection &connection, Host host,
                                 const std::string &settings, StepPrinter &printer);

}  // namespace zafo::cli
