// SPDX-License-Identifier: Apache-2.0
//
// What the template of slapd.conf(5) says about the server it is for, without knowing it. Words of the
// template that stand for a value:
//
//   ${suffix}         the directory's suffix          } as directives give them, for use
//   ${rootdn}         the administrator's DN          } between double quotes
//   ${rootdn_parent}  the DN above the administrator's
//   ${suffix_in_url}  the suffix in an LDAP URL (RFC 4516)
//
// Any other word stays as it is.
#pragma once

#include <string>
#include <string_view>

#include "base/directives.h"

namespace zafo {

// The text with the values of `server`, whose suffix and rootdn they are.
std::string FillIn(std::string_view text, const Directives &server);

// A text that was made of the template for `before`, for `after`: its lines that a value of the
// template stands in. Lines that are not the template's stay as they are.
std::string FillInAgain(std::string_view text, std::string_view pattern, const Directives &before,
                        const Directives &after);

}  // namespace zafo
