// SPDX-License-Identifier: Apache-2.0
//
// Password hashes as crypt(5) and shadow(5) write them. A directory stores them after the scheme
// "{crypt}" (RFC 2307 section 5.3), in any letter case.
#pragma once

#include <string>
#include <string_view>

namespace zafo {

// Matches no password.
inline constexpr char kLockedPassword[] = "!";

// The hash in a text, without its scheme; empty when crypt(5) does not know it: another scheme, a
// clear password, damage. A hash after "!" or "*" is locked but still a hash.
std::string_view CryptHashIn(std::string_view text);

// The form in which a stored password is passed on. An account without a password ("" in shadow(5):
// log in by name alone) is passed on as locked.
inline std::string PortableHash(std::string_view stored) {
    return std::string(stored.empty() ? kLockedPassword : stored);
}

}  // namespace zafo
