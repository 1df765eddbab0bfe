// SPDX-License-Identifier: Apache-2.0
//
// A reader of LDIF (RFC 2849) of the tests' own, so that what the library reads can be compared with
// it.
#pragma once

#include <string_view>
#include <vector>

#include "host/root/directory/ldif.h"

namespace zafo::rig {

// The entries of whole LDIF content, version line and comments left out; throws
// std::runtime_error for anything else than "name: value" and "name:: base64".
std::vector<LdifEntry> ParseLdif(std::string_view text);

}  // namespace zafo::rig
