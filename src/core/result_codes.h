// SPDX-License-Identifier: Apache-2.0
//
// The LDAP result codes (RFC 4511 appendix A) that the library acts on; OpenLDAP's tools use them
// as exit codes.
#pragma once

namespace zafo {

inline constexpr int kSizeLimitExceeded = 4;
inline constexpr int kAttributeOrValueExists = 20;
inline constexpr int kNoSuchObject = 32;
inline constexpr int kEntryAlreadyExists = 68;

}  // namespace zafo
