// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/display_text.h"

#include <fmt/format.h>
#include <unistr.h>
#include <uniwidth.h>

#include <algorithm>

namespace zafo::cli {

namespace {

const uint8_t *Bytes(std::string_view text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

// The control characters C0 and DEL are single bytes; C1 (U+0080..U+009F) is two in UTF-8.
bool IsControl(ucs4_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

// Calls visit(character, its bytes) for each character; a byte that is no UTF-8 is visited as
// a control character of its own.
template <typename Visit>
void ForEachCharacter(std::string_view text, Visit visit) {
    while (!text.empty()) {
        ucs4_t character = 0;
        const int length = u8_mbtoucr(&character, Bytes(text), text.size());
        const size_t taken = length > 0 ? static_cast<size_t>(length) : 1;
        if (length <= 0) character = 0x80;
        if (!visit(character, text.substr(0, taken))) return;
        text.remove_prefix(taken);
    }
}

}  // namespace

bool IsPlainAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7f; });
}

bool IsText(std::string_view bytes) {
    if (IsPlainAscii(bytes)) return true;
    bool text = true;
    ForEachCharacter(bytes, [&](ucs4_t character, std::string_view) {
        const bool layout = character == '\t' || character == '\n' || character == '\r';
        text = layout || !IsControl(character);
        return text;
    });
    return text;
}

std::string OneLine(std::string_view text) {
    if (IsPlainAscii(text)) return std::string(text);
    std::string line;
    line.reserve(text.size());
    ForEachCharacter(text, [&](ucs4_t character, std::string_view bytes) {
        switch (character) {
            case '\t':
                line += "\\t";
                break;
            case '\n':
                line += "\\n";
                break;
            case '\r':
                line += "\\r";
                break;
            default:
                if (!IsControl(character)) {
                    line += bytes;
                    break;
                }
                for (const char byte : bytes) {
                    fmt::format_to(std::back_inserter(line), "\\x{:02x}",
                                   static_cast<unsigned char>(byte));
                }
        }
        return true;
    });
    return line;
}

int DisplayWidth(std::string_view text) {
    return u8_width(Bytes(text), text.size(), "UTF-8");
}

std::string Shortened(std::string_view text, int columns) {
    if (DisplayWidth(text) <= columns) return std::string(text);
    std::string kept;
    int used = 1;  // the ellipsis
    ForEachCharacter(text, [&](ucs4_t character, std::string_view bytes) {
        used += std::max(uc_width(character, "UTF-8"), 0);
        if (used > columns) return false;
        kept += bytes;
        return true;
    });
    return kept + "…";
}

std::string Base64(std::string_view bytes) {
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t group = std::min<size_t>(3, bytes.size() - at);
        unsigned bits = 0;
        for (size_t i = 0; i < 3; ++i) {
            bits = bits << 8 | (i < group ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        for (size_t i = 0; i < 4; ++i) {
            text += i <= group ? kAlphabet[bits >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

std::string CsvField(std::string_view text) {
    const bool quotes = text.find_first_of(",\"\r\n") != std::string_view::npos ||
                        text.starts_with(' ') || text.ends_with(' ');
    if (!quotes) return std::string(text);
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + '"';
}

}  // namespace zafo::cli
