// SPDX-License-Identifier: Apache-2.0
//
// Distinguished names (RFC 4514), checked before they reach a tool.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/cli/ldap_filter.h"

namespace zafo::cli {

// The first fault of a DN; nothing if its syntax is right. The empty DN (the root DSE) is valid.
// Blanks around "," and "=" are accepted, as servers do.
std::optional<SyntaxFault> DnFault(std::string_view dn);

// Throws Failure ("bad_dn") for a DN with a fault.
void CheckDn(const std::string &dn, bool may_be_empty = false);

// A name that a search can request: an attribute description (RFC 4512 section 2.5), "*", "+" or
// "1.1".
bool IsAttributeSelector(std::string_view name);

// The user that a member's DN names: the value of "uid" in its first RDN; empty: none.
std::string UserOfDn(std::string_view dn);

}  // namespace zafo::cli
