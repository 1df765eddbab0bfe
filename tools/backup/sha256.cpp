// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/sha256.h"

#include <cstdint>

namespace zafo::backup {

void Sha256::Add(std::string_view bytes) {
    sha256_update(&context_, bytes.size(), reinterpret_cast<const std::uint8_t *>(bytes.data()));
}

Digest Sha256::Take() {
    Digest digest{};
    sha256_digest(&context_, digest.size(), digest.data());
    return digest;
}

std::string Hex(const Digest &digest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (const std::uint8_t byte : digest) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

std::string Sha256Of(std::string_view bytes) {
    Sha256 sha;
    sha.Add(bytes);
    return Hex(sha.Take());
}

}  // namespace zafo::backup
