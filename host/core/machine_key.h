// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own key, under which stored passwords are enciphered.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace zafo {

// Wiped when it is no longer needed.
struct MachineKey {
    std::array<uint8_t, 32> bytes{};

    MachineKey() = default;
    MachineKey(const MachineKey &) = delete;
    MachineKey &operator=(const MachineKey &) = delete;
    ~MachineKey() { explicit_bzero(bytes.data(), bytes.size()); }
};

// Reads the key file; 0, or a platform error code.
int ReadMachineKey(MachineKey *key);

// The same, after making the file when there is none. Of several processes that
// make it at once one wins, and all read the winner's key.
int ReadOrMakeMachineKey(MachineKey *key);

}  // namespace zafo
