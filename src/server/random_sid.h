// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace zafo {

// A new domain's security identifier, "S-1-5-21-A-B-C" with three random 32-bit numbers, from
// openssl's generator. Nothing, and a line in the log, when that gives none.
std::optional<std::string> RandomDomainSID();

}  // namespace zafo
