// SPDX-License-Identifier: Apache-2.0
//
// Bytes as printable text, five characters for every four bytes; none of the characters is special
// in a section file. The ciphertext of a 1023-byte password, with nonce and tag, has to fit into
// 1368 characters: base64 would need 1404.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

std::string ToBase85(std::span<const uint8_t> data);

// Nothing if the text was not produced by ToBase85.
std::optional<std::vector<uint8_t>> FromBase85(std::string_view text);

}  // namespace zafo
