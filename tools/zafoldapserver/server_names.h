// SPDX-License-Identifier: Apache-2.0
//
// Which suffix and administrator the appliance's directory may have, decided before anything is
// changed. Both end up in slapd.conf, access rules, search filters and DNs that are compared byte
// for byte, so only the plainest form is accepted.
#pragma once

#include <string>

namespace zafo::cli {

// The suffix as slapd writes it: lower-case attribute names, no blanks around "=" and ",". Throws
// Failure ("suffix_bad", "bad_dn").
std::string CheckedSuffix(const std::string &text);

// The administrator's DN below a checked suffix, in the same form. Throws Failure ("admin_dn_bad",
// "bad_dn").
std::string CheckedAdminDn(const std::string &text, const std::string &suffix);

// Throws Failure ("server_password") if it cannot be the administrator's password.
void CheckServerPassword(const std::string &password);

}  // namespace zafo::cli
