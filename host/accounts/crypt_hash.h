// SPDX-License-Identifier: Apache-2.0
//
// Password hashes as crypt(5) and shadow(5) write them. A directory stores them behind the scheme
// "{crypt}" (RFC 2307 section 5.3), in any letter case.
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// No password is right.
inline constexpr char kLockedPassword[] = "!";

// The hash in a text, without its scheme; empty when it is none that crypt(5) knows: another
// scheme, a clear password, damage. A hash behind "!" or "*" is locked, and a hash.
std::string_view CryptHashIn(std::string_view text);

// What stands for a stored password wherever it is taken. An account without a password ("" in
// shadow(5): log in by name alone) is locked elsewhere.
inline std::string PortableHash(std::string_view stored) {
    return std::string(stored.empty() ? kLockedPassword : stored);
}

}  // namespace zafo
