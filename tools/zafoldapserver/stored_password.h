// SPDX-License-Identifier: Apache-2.0
//
// What a value of userPassword (RFC 4519 section 2.41) means to slapd: a scheme in braces before a
// hash (RFC 2307 section 5.3), or the password itself.
#pragma once

#include <string_view>

namespace zafo::cli {

enum class StoredPassword {
    kHash,
    kClear,  // readable by whoever reads the database or a backup
    kCostly,  // a hash that takes the server more than about 100 ms to check, while everybody else waits
};

StoredPassword KindOf(std::string_view value);

}  // namespace zafo::cli
