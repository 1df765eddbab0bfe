// SPDX-License-Identifier: Apache-2.0
//
// The Samba hashes of local accounts: "/usr/zafo/etc/private/smbpasswd" in the format of
// smbpasswd(5), which Samba reads with "passdb backend = smbpasswd:FILE".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

// Samba refuses any log-in with this as the hash.
inline constexpr char kNoSambaHash[] = "XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX";

struct SambaHashes {
    std::string lm = kNoSambaHash;
    std::string nt = kNoSambaHash;
};

// Whether a text is a hash: 32 hexadecimal digits, or none: empty, or kNoSambaHash.
bool IsSambaHash(std::string_view text);

// The hashes of an account. None for an account without a line, for one that Samba refuses
// (disabled, or no password needed: flags "D" and "N"), and for a line left by an earlier account
// of the name (another number). 0, or a platform error code.
int ReadSambaHashes(std::string_view name, uint32_t uid, SambaHashes *hashes);

struct SambaAccount {
    std::string name;
    uint32_t uid;
    std::string lm;  // as IsSambaHash
    std::string nt;
};

// Stores the hashes of some accounts in one step; one without any hash gets no line. 0, or a
// platform error code.
int StoreSambaHashes(const std::vector<SambaAccount> &accounts);

}  // namespace zafo
