// SPDX-License-Identifier: Apache-2.0
//
// The result codes of LDAP (RFC 4511 appendix A) that the library acts on. The
// tools of OpenLDAP exit with them.
#pragma once

namespace zafo {

inline constexpr int kSizeLimitExceeded = 4;
inline constexpr int kAttributeOrValueExists = 20;
inline constexpr int kNoSuchObject = 32;
inline constexpr int kEntryAlreadyExists = 68;

}  // namespace zafo
