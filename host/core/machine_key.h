// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own key, which encrypts stored passwords.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace zafo {

// Wiped on destruction.
struct MachineKey {
    std::array<uint8_t, 32> bytes{};

    MachineKey() = default;
    MachineKey(const MachineKey &) = delete;
    MachineKey &operator=(const MachineKey &) = delete;
    ~MachineKey() { explicit_bzero(bytes.data(), bytes.size()); }
};

// Reads the key file. Returns 0 or a platform error code.
int ReadMachineKey(MachineKey *key);

// The same, but creates a missing file first. If several processes create it at the same time, one
// wins, and all of them read its key.
int ReadOrMakeMachineKey(MachineKey *key);

}  // namespace zafo
