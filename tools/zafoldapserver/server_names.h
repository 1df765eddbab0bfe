// SPDX-License-Identifier: Apache-2.0
//
// What may be the suffix and the administrator of the appliance's directory, decided before
// anything is changed. Both end up in slapd.conf, in access rules, in search filters and in the
// text of DNs that are compared byte for byte, so that only the plainest form is taken.
#pragma once

#include <string>
#include <string_view>

namespace zafo::cli {

// The suffix as slapd itself writes it: attribute names in small letters, no blanks around "="
// and ",". Throws Failure ("suffix_bad", "bad_dn").
std::string CheckedSuffix(const std::string &text);

// The administrator's DN below a checked suffix, written in the same way. Throws Failure
// ("admin_dn_bad", "bad_dn").
std::string CheckedAdminDn(const std::string &text, const std::string &suffix);

// Throws Failure ("server_password") for what the administrator's password must not be.
void CheckServerPassword(const std::string &password);

}  // namespace zafo::cli
