// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/display_text.h"

#include <algorithm>

#include <fmt/format.h>
#include <unictype.h>
#include <unistr.h>
#include <uniwidth.h>

namespace zafo::cli {

namespace {

const uint8_t *Bytes(std::string_view text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

// A byte that is not valid UTF-8.
constexpr ucs4_t kNoCharacter = 0xFFFFFFFF;

// The control characters C0 and DEL are single bytes; C1 (U+0080..U+009F) takes two in UTF-8.
bool IsControl(ucs4_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

// Whether a character would not be seen as itself: it drives the terminal, breaks the line,
// reorders its neighbours (bidirectional controls), or has no width, so that two different names
// look alike.
bool IsHidden(ucs4_t character) {
    if (character < 0xa0) return IsControl(character);
    return character == kNoCharacter || character == 0x2028 || character == 0x2029 ||
           (character >= 0xfff9 && character <= 0xfffb) || uc_is_property_bidi_control(character) ||
           uc_is_property_default_ignorable_code_point(character) ||
           uc_is_property_not_a_character(character);
}

// Calls visit(character, its bytes) for each character and for each invalid byte.
template <typename Visit>
void ForEachCharacter(std::string_view text, Visit visit) {
    while (!text.empty()) {
        ucs4_t character = 0;
        const int length = u8_mbtoucr(&character, Bytes(text), text.size());
        const size_t taken = length > 0 ? static_cast<size_t>(length) : 1;
        if (length <= 0) character = kNoCharacter;
        if (!visit(character, text.substr(0, taken))) return;
        text.remove_prefix(taken);
    }
}

// The text with every hidden character replaced by what escape(text, character, its bytes) appends.
template <typename Escape>
std::string Revealed(std::string_view text, Escape escape) {
    std::string shown;
    shown.reserve(text.size());
    ForEachCharacter(text, [&](ucs4_t character, std::string_view bytes) {
        if (IsHidden(character)) {
            escape(shown, character, bytes);
        } else {
            shown += bytes;
        }
        return true;
    });
    return shown;
}

void AppendCodePoint(std::string &text, ucs4_t character) {
    fmt::format_to(std::back_inserter(text), "<U+{:04X}>", character);
}

void AppendVisible(std::string &text, ucs4_t character, std::string_view bytes) {
    switch (character) {
        case '\t':
            text += "\\t";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        default:
            if (bytes.size() > 1) {
                AppendCodePoint(text, character);
                break;
            }
            fmt::format_to(std::back_inserter(text), "\\x{:02x}",
                           static_cast<unsigned char>(bytes.front()));
    }
}

// What a spreadsheet may take as the start of a cell: some split at ";" or tabs, whatever the
// file's separator.
constexpr std::string_view kCellEnds = ";\t\r\n";

// The first character of a cell that a spreadsheet would evaluate instead of showing it. A sign
// before a number or a telephone number stays: it yields only digits.
std::string_view FormulaSign(std::string_view cell) {
    for (const std::string_view sign : {"=", "@", "\uff1d", "\uff20"}) {
        if (cell.starts_with(sign)) return sign;
    }
    for (const std::string_view sign : {"+", "-", "\uff0b", "\uff0d"}) {
        if (!cell.starts_with(sign)) continue;
        const std::string_view rest = cell.substr(0, cell.find_first_of(kCellEnds));
        const bool figures = rest.find_first_not_of("0123456789 +-./()|", sign.size()) == rest.npos;
        return figures ? std::string_view() : sign;
    }
    return {};
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
        text = layout || (character != kNoCharacter && !IsControl(character));
        return text;
    });
    return text;
}

std::string OneLine(std::string_view text) {
    if (IsPlainAscii(text)) return std::string(text);
    return Revealed(text, AppendVisible);
}

std::string Printable(std::string_view text) {
    if (IsPlainAscii(text)) return std::string(text);
    return Revealed(text, [](std::string &shown, ucs4_t character, std::string_view bytes) {
        if (character == '\n') {
            shown += '\n';
        } else {
            AppendVisible(shown, character, bytes);
        }
    });
}

std::string EscapedInJson(std::string json) {
    if (IsPlainAscii(json)) return json;
    return Revealed(json, [](std::string &shown, ucs4_t character, std::string_view) {
        uint16_t units[2];
        const int count = u16_uctomb(units, character, 2);
        for (int i = 0; i < count; ++i)
            fmt::format_to(std::back_inserter(shown), "\\u{:04x}", units[i]);
    });
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

std::string CsvText(std::string_view text) {
    if (IsPlainAscii(text) && text.find('<') == text.npos) return std::string(text);
    std::string escaped;
    escaped.reserve(text.size());
    ForEachCharacter(text, [&](ucs4_t character, std::string_view bytes) {
        const auto before = static_cast<size_t>(bytes.data() - text.data());
        const std::string_view next = text.substr(before + bytes.size());
        const bool layout =
            character == '\t' || character == '\n' || (character == '\r' && next.starts_with('\n'));
        const bool own = character == '<' && (next.starts_with("U+") || next.starts_with("0x") ||
                                              next.starts_with("binary:"));
        if (character == kNoCharacter) {
            fmt::format_to(std::back_inserter(escaped), "<0x{:02X}>",
                           static_cast<unsigned char>(bytes.front()));
        } else if (own || (IsHidden(character) && !layout)) {
            AppendCodePoint(escaped, character);
        } else {
            escaped += bytes;
        }
        return true;
    });
    return escaped;
}

std::string CsvCell(std::string_view escaped) {
    std::string text;
    bool begins = true;
    for (std::string_view rest = escaped; !rest.empty();) {
        const std::string_view sign = begins ? FormulaSign(rest) : std::string_view();
        const size_t taken = std::max<size_t>(sign.size(), 1);
        if (sign.empty()) {
            text += rest.front();
        } else {
            ucs4_t character = 0;
            u8_mbtoucr(&character, Bytes(sign), sign.size());
            AppendCodePoint(text, character);
        }
        begins = kCellEnds.find(rest.front()) != kCellEnds.npos || (begins && rest.front() == ' ');
        rest.remove_prefix(taken);
    }
    const bool quotes = text.find_first_of(",\"\r\n") != std::string::npos ||
                        text.starts_with(' ') || text.ends_with(' ');
    return quotes ? fmt::format("\"{}\"", Replaced(text, "\"", "\"\"")) : text;
}

std::string CsvField(std::string_view text) {
    return CsvCell(CsvText(text));
}

std::string Replaced(std::string_view text, std::string_view what, std::string_view with) {
    std::string replaced;
    for (size_t at = text.find(what); at != text.npos; at = text.find(what)) {
        replaced.append(text.substr(0, at)).append(with);
        text.remove_prefix(at + what.size());
    }
    return replaced.append(text);
}

std::string CommandWord(std::string_view word) {
    constexpr std::string_view kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-+=,/:@%";
    if (!word.empty() && word.find_first_not_of(kPlain) == word.npos) return std::string(word);
    return fmt::format("'{}'", Replaced(OneLine(word), "'", "'\\''"));
}

std::string Counted(std::uint64_t number, std::string_view noun) {
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string Enumerated(const std::vector<std::string> &words) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        if (i > 0) text += i + 1 == words.size() ? " and " : ", ";
        text += words[i];
    }
    return text;
}

}  // namespace zafo::cli
