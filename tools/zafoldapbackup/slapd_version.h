// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo::backup {

// The version in the first line of `slapd -VV` output: "@(#) $OpenLDAP: slapd 2.5.13+dfsg-5 (Feb  8
// 2023 …) $". Empty if there is none.
std::string VersionIn(std::string_view words);

// The version of the installed slapd; empty if unknown, which does not prevent a backup.
std::string SlapdVersion();

}  // namespace zafo::backup
