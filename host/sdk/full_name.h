// SPDX-License-Identifier: Apache-2.0
//
// A user's full name: the first part of the GECOS field of passwd(5), which commas divide. A name
// that the field cannot hold ("Müller, Anna") is written there with blanks instead, as other
// programs will show it, and unchanged in "/usr/zafo/etc/account.conf". If another program, such as
// chfn(1), changes the field, the field wins.
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// The GECOS form of a name. "&" is kept: only finger(1) replaces it, and passwd(5) does not mention
// it.
std::string GecosOf(std::string_view full_name);

// The full name according to the field and the stored name.
std::string FullNameFrom(std::string_view gecos, const std::string &stored);

}  // namespace zafo
