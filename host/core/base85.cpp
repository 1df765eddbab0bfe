// SPDX-License-Identifier: Apache-2.0
#include "host/core/base85.h"

#include <algorithm>

namespace zafo {

namespace {

constexpr std::string_view kAlphabet =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!$%&()*+-./:<>?@[]^_{|}";
static_assert(kAlphabet.size() == 85);

constexpr size_t kBytes = 4;
constexpr size_t kCharacters = 5;

}  // namespace

// A last group of n bytes is padded with zeros and gives its first n + 1 characters.
std::string ToBase85(std::span<const uint8_t> data) {
    std::string text;
    for (size_t i = 0; i < data.size(); i += kBytes) {
        const size_t count = std::min(kBytes, data.size() - i);
        uint32_t bits = 0;
        for (size_t k = 0; k < kBytes; ++k)
            bits = bits << 8 | (k < count ? data[i + k] : 0U);
        char group[kCharacters];
        for (size_t k = kCharacters; k-- > 0; bits /= 85)
            group[k] = kAlphabet[bits % 85];
        text.append(group, count + 1);
    }
    return text;
}

std::optional<std::vector<uint8_t>> FromBase85(std::string_view text) {
    std::vector<uint8_t> data;
    for (size_t i = 0; i < text.size(); i += kCharacters) {
        const std::string_view group = text.substr(i, kCharacters);
        if (group.size() == 1) return {};
        uint64_t bits = 0;
        for (size_t k = 0; k < kCharacters; ++k) {
            // Padding with the largest digit offsets the truncation of the first characters.
            const size_t digit = k < group.size() ? kAlphabet.find(group[k]) : 84;
            if (digit == std::string_view::npos) return {};
            bits = bits * 85 + digit;
        }
        if (bits > UINT32_MAX) return {};
        for (size_t k = 0; k + 1 < group.size(); ++k) {
            data.push_back(static_cast<uint8_t>(bits >> (24 - 8 * k)));
        }
    }
    // A short last group could be spelled in several ways; only the output of ToBase85 is accepted.
    if (ToBase85(data) != text) return {};
    return data;
}

}  // namespace zafo
