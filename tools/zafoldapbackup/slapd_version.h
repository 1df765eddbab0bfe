// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo::backup {

// The version in the first line that `slapd -VV` says: "@(#) $OpenLDAP: slapd 2.5.13+dfsg-5 (Feb  8 2023 …) $".
// Empty when there is none.
std::string VersionIn(std::string_view words);

// Of the installed slapd; empty when it cannot be found out, which stops no backup.
std::string SlapdVersion();

}  // namespace zafo::backup
