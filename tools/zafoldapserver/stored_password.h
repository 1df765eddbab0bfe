// SPDX-License-Identifier: Apache-2.0
//
// How slapd interprets a value of userPassword (RFC 4519 section 2.41): a scheme in braces before a
// hash (RFC 2307 section 5.3), or the password itself.
#pragma once

#include <string_view>

namespace zafo::cli {

enum class StoredPassword {
    kHash,
    kClear,   // readable by anyone who can read the database or a backup
    kCostly,  // a hash that takes the server over about 100 ms to check while others wait
};

StoredPassword KindOf(std::string_view value);

}  // namespace zafo::cli
