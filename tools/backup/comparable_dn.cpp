// SPDX-License-Identifier: Apache-2.0
//
// The string form of a DN (RFC 4514) leaves room: "dc=Example, dc=com" and "DC=example,DC=com" are one, as are
// "\," and "\2C".
#include "tools/backup/entry_scan.h"

#include <optional>

namespace zafo::backup {

namespace {

constexpr std::string_view kSeparators = ",;+=";
constexpr std::string_view kSpecial = ",;+=\"\\<># ";

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<unsigned> HexDigit(char c) {
    const char low = Lower(c);
    if (low >= '0' && low <= '9') return static_cast<unsigned>(low - '0');
    if (low >= 'a' && low <= 'f') return static_cast<unsigned>(low - 'a') + 10;
    return std::nullopt;
}

// The byte that an escape stands for; `rest` begins behind the backslash and is moved on.
char Unescaped(std::string_view *rest) {
    if (rest->size() >= 2) {
        const auto high = HexDigit((*rest)[0]);
        const auto low = HexDigit((*rest)[1]);
        if (high && low) {
            rest->remove_prefix(2);
            return static_cast<char>(*high * 16 + *low);
        }
    }
    const char c = rest->empty() ? '\\' : rest->front();
    if (!rest->empty()) rest->remove_prefix(1);
    return c;
}

void AddSeparator(std::string *text, char c) {
    while (text->ends_with(' '))
        text->pop_back();
    *text += c == ';' ? ',' : c;
}

}  // namespace

std::string ComparableDn(std::string_view dn) {
    std::string text;
    bool skip_blanks = true;
    while (!dn.empty()) {
        const char c = dn.front();
        dn.remove_prefix(1);
        if (c == ' ' && skip_blanks) continue;
        skip_blanks = kSeparators.find(c) != std::string_view::npos;
        if (skip_blanks) {
            AddSeparator(&text, c);
        } else if (c != '\\') {
            text += Lower(c);
        } else {
            const char byte = Unescaped(&dn);
            if (kSpecial.find(byte) != std::string_view::npos) text += '\\';
            text += Lower(byte);
            // An escaped blank at the end is not one to drop.
            if (byte == ' ') text += '\\';
        }
    }
    while (text.ends_with(' '))
        text.pop_back();
    return text;
}

}  // namespace zafo::backup
