// SPDX-License-Identifier: Apache-2.0
#include "tests/attack/hostile_text.h"

#include <cstdio>

namespace zafo::test {

namespace {

// Works on bytes, not characters, and shares no code with what it tests.
bool BeginsHidden(std::string_view text) {
    const auto byte = [&](size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    if (byte(0) == 0xC2) return (byte(1) >= 0x80 && byte(1) < 0xA0) || byte(1) == 0xAD;
    if (byte(0) == 0xCD) return byte(1) == 0x8F;
    if (byte(0) == 0xD8) return byte(1) == 0x9C;
    if (byte(0) == 0xE2 && byte(1) == 0x80)
        return (byte(2) >= 0x8B && byte(2) <= 0x8F) || (byte(2) >= 0xA8 && byte(2) <= 0xAE);
    if (byte(0) == 0xE2 && byte(1) == 0x81) return byte(2) >= 0xA0 && byte(2) <= 0xAF;
    if (byte(0) == 0xE3 && byte(1) == 0x85) return byte(2) == 0xA4;
    if (byte(0) == 0xEF && byte(1) == 0xB8) return byte(2) >= 0x80 && byte(2) <= 0x8F;
    if (byte(0) == 0xEF && byte(1) == 0xBB) return byte(2) == 0xBF;
    if (byte(0) == 0xEF && byte(1) == 0xBF) return byte(2) >= 0xB9 && byte(2) <= 0xBB;
    if (byte(0) == 0xF3) return byte(1) == 0xA0;
    // Of the rest, bytes that begin no character: terminals take 0x80 to 0x9F for controls.
    return byte(0) > 0xF4 || byte(0) < 0xC2;
}

// The bytes of the character that begins with this one.
size_t SizeOfCharacter(unsigned char first) {
    return first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

}  // namespace

const std::vector<HostileText> &HostileTexts() {
    static const std::vector<HostileText> kTexts = {
        {"Escape", "\x1b]0;evil\x07"},
        {"Backspace", "\b\b\b"},
        {"CarriageReturn", "\rhint: run evil"},
        {"LineFeed", "\nhint: run evil"},
        {"Delete", "\x7f"},
        {"C1Sequence",
         "\xc2\x9b"
         "31m"},
        {"C1Byte",
         "\x9b"
         "31m"},
        {"NextLine", "\xc2\x85hint: run evil"},
        {"RightToLeftOverride", "\xe2\x80\xaenimda"},
        {"Isolate", "\xe2\x81\xa7niam\xe2\x81\xa9"},
        {"LeftToRightMark", "\xe2\x80\x8e"},
        {"ArabicLetterMark", "\xd8\x9c"},
        {"ZeroWidthSpace", "\xe2\x80\x8b"},
        {"SoftHyphen", "\xc2\xad"},
        {"HangulFiller", "\xe3\x85\xa4"},
        {"VariationSelector", "\xef\xb8\x8f"},
        {"TagCharacter", "\xf3\xa0\x81\xa1"},
        {"LineSeparator", "\xe2\x80\xa8hint: run evil"},
        {"ParagraphSeparator", "\xe2\x80\xa9hint: run evil"},
        {"ByteOrderMark", "\xef\xbb\xbf"},
        {"InterlinearAnnotation", "\xef\xbf\xb9"},
        {"NoUtf8", "\xff\xfe"},
        {"OverlongEscape", "\xc0\x9b"}};
    return kTexts;
}

std::string AllHostileTexts() {
    std::string all = "a";
    for (const HostileText &text : HostileTexts())
        all += text.bytes + "b";
    return all;
}

std::string HostileWords() {
    std::string all = "a";
    for (const HostileText &text : HostileTexts()) {
        const auto first = static_cast<unsigned char>(text.bytes[0]);
        const bool control = first < 0x80 || text.bytes.starts_with("\xc2\x9b") ||
                             text.bytes.starts_with("\xc2\x85");
        if (!control && first != 0xFF && first != 0xC0 && first != 0x9B) all += text.bytes + "b";
    }
    return all;
}

std::string HiddenIn(std::string_view output) {
    unsigned char c = 0;
    for (size_t i = 0; i < output.size(); i += SizeOfCharacter(c)) {
        c = static_cast<unsigned char>(output[i]);
        const bool control = (c < 0x20 && c != '\n' && c != '\t') || c == 0x7f;
        if (!control && (c < 0x80 || !BeginsHidden(output.substr(i)))) continue;
        char text[64];
        std::snprintf(text, sizeof text, "\\x%02x at %zu: ", c, i);
        return text + std::string(output.substr(i < 40 ? 0 : i - 40, 40));
    }
    return {};
}

}  // namespace zafo::test
