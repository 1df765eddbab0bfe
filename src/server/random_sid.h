// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace zafo {

// A new domain's security identifier, "S-1-5-21-A-B-C" with three random 32-bit numbers from
// openssl. Nothing, after a log line, if openssl fails.
std::optional<std::string> RandomDomainSID();

}  // namespace zafo
