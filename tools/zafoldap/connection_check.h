// SPDX-License-Identifier: Apache-2.0
//
// The checks of a connection, step by step from its settings to listing users.
#pragma once

#include "tools/zafoldap/saved_connection.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zafo::cli {

enum class StepResult { kOk, kWarning, kFailed, kSkipped };

struct CheckStep {
    std::string step = {};  // "settings", "resolve" …
    StepResult result = StepResult::kOk;
    std::string detail = {};
    std::optional<Failure> failure = {};  // of a step that failed
};

std::string_view Name(StepResult result);

// Runs the steps up to the first that fails; `on_step` sees each of them, skipped ones included.
// `settings` says where the connection comes from. The failure of the failed step, if any.
std::optional<Failure> RunChecks(Streams &streams, const Connection &connection, Host host,
                                 const std::string &settings,
                                 const std::function<void(const CheckStep &)> &on_step);

}  // namespace zafo::cli
