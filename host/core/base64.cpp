// SPDX-License-Identifier: Apache-2.0
//
// Strict base64 of RFC 4648 section 4: every byte sequence has exactly one encoding. Library
// decoders skip blanks and line breaks, so damage in a folded LDIF value would pass as data.
#include <array>
#include <cstdint>
#include <cstdlib>

#include "host/core/fail.h"
#include "platform/crypt.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Not below 64, so not a character of the alphabet.
constexpr uint8_t kNone = 0x80;

constexpr std::array<uint8_t, 256> MakeValues() {
    std::array<uint8_t, 256> values{};
    values.fill(kNone);
    for (uint8_t i = 0; i < 64; ++i)
        values[static_cast<unsigned char>(kAlphabet[i])] = i;
    return values;
}

constexpr std::array<uint8_t, 256> kValues = MakeValues();

uint32_t ValueOf(char c) {
    return kValues[static_cast<unsigned char>(c)];
}

// Four characters as 24 bits; above 0xFFFFFF if one is not in the alphabet.
uint32_t Group(char a, char b, char c, char d) {
    const uint32_t va = ValueOf(a);
    const uint32_t vb = ValueOf(b);
    const uint32_t vc = ValueOf(c);
    const uint32_t vd = ValueOf(d);
    const uint32_t bits = va << 18 | vb << 12 | vc << 6 | vd;
    return (va | vb | vc | vd) < 64 ? bits : UINT32_MAX;
}

void PutBytes(uint8_t *&out, uint32_t bits, int count) {
    for (int i = 0; i < count; ++i)
        *out++ = static_cast<uint8_t>(bits >> (16 - 8 * i));
}

// The number of bytes in the last group: one less for each "=" at the end.
int BytesInLast(const char *text, size_t length) {
    if (text[length - 1] != '=') return 3;
    return text[length - 2] == '=' ? 1 : 2;
}

bool Decode(const char *text, size_t length, uint8_t *&out) {
    if (length % 4 != 0) return false;
    if (length == 0) return true;
    const char *last = text + length - 4;
    const int count = BytesInLast(text, length);
    for (; text != last; text += 4) {
        const uint32_t bits = Group(text[0], text[1], text[2], text[3]);
        if (bits == UINT32_MAX) return false;
        PutBytes(out, bits, 3);
    }
    const uint32_t bits =
        Group(last[0], last[1], count > 1 ? last[2] : 'A', count > 2 ? last[3] : 'A');
    // The unused bits of the last character must be zero.
    if (bits == UINT32_MAX || (bits & (0xFFFFFFU >> (8 * count))) != 0) return false;
    PutBytes(out, bits, count);
    return true;
}

void PutGroup(char *&out, uint32_t bits, int count) {
    for (int i = 0; i < 4; ++i) {
        *out++ = i <= count ? kAlphabet[bits >> (18 - 6 * i) & 63] : '=';
    }
}

}  // namespace

int ZAFOEncodingBase64Decode(const char *text, size_t length, void *buffer, size_t *decoded) {
    if (text == nullptr || buffer == nullptr || decoded == nullptr) {
        return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    }
    auto *out = static_cast<uint8_t *>(buffer);
    if (!Decode(text, length, out)) return zafo::FailZero(QLIB_ERR_BAD_FORMAT);
    *decoded = static_cast<size_t>(out - static_cast<uint8_t *>(buffer));
    return 1;
}

char *SzBase64EncodeOneLine(const void *data, size_t size) {
    if (data == nullptr) return zafo::FailNull(QLIB_ERR_BAD_ARGUMENT);
    if (size > SIZE_MAX / 2) return zafo::FailNull(QLIB_ERR_OUT_OF_MEMORY);
    auto *const text = static_cast<char *>(std::malloc((size + 2) / 3 * 4 + 1));
    if (text == nullptr) return zafo::FailNull(QLIB_ERR_OUT_OF_MEMORY);
    const auto *in = static_cast<const uint8_t *>(data);
    const uint8_t *const end = in + size;
    char *out = text;
    for (; end - in >= 3; in += 3) {
        PutGroup(out,
                 static_cast<uint32_t>(in[0]) << 16 | static_cast<uint32_t>(in[1]) << 8 | in[2], 3);
    }
    if (end - in == 2) {
        PutGroup(out, static_cast<uint32_t>(in[0]) << 16 | static_cast<uint32_t>(in[1]) << 8, 2);
    } else if (end - in == 1) {
        PutGroup(out, static_cast<uint32_t>(in[0]) << 16, 1);
    }
    *out = '\0';
    return text;
}
