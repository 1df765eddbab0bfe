// SPDX-License-Identifier: Apache-2.0
//
// A user's full name: the first part of the GECOS field of passwd(5), which commas divide. A name
// that the field cannot hold ("Müller, Anna") stands there with blanks instead, which is what other
// programs show, and as it is in "/usr/zafo/etc/account.conf". A change of the field by another
// program, chfn(1) for one, counts.
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// What the GECOS field holds of a name. "&" is itself: finger(1) replaces it, passwd(5) does not say so.
std::string GecosOf(std::string_view full_name);

// The name that a field and the stored name tell.
std::string FullNameFrom(std::string_view gecos, const std::string &stored);

}  // namespace zafo
