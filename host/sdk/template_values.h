// SPDX-License-Identifier: Apache-2.0
//
// Placeholders in the template of slapd.conf(5) for values of the server it is used for:
//
//   ${suffix}         the directory's suffix          } as in directives, for use
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

// The text with the placeholders replaced by values from `server`, which has the suffix and rootdn.
std::string FillIn(std::string_view text, const Directives &server);

// Updates a text that was made from the template for `before` to `after`: only lines of the
// template that contain a placeholder change. Other lines stay as they are.
std::string FillInAgain(std::string_view text, std::string_view pattern, const Directives &before,
                        const Directives &after);

}  // namespace zafo
