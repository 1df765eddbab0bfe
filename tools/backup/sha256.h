// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <nettle/sha2.h>

namespace zafo::backup {

using Digest = std::array<std::uint8_t, SHA256_DIGEST_SIZE>;

class Sha256 {
  public:
    Sha256() { sha256_init(&context_); }
    void Add(std::string_view bytes);
    // The digest of what was added so far; resets the object.
    Digest Take();

  private:
    sha256_ctx context_;
};

// Lower-case hexadecimal digits.
std::string Hex(const Digest &digest);
std::string Sha256Of(std::string_view bytes);

}  // namespace zafo::backup
