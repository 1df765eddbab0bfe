// SPDX-License-Identifier: Apache-2.0
//
// Directory text made fit to print. A value can hold anything: control characters that would drive
// the terminal, bytes that are not text at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

// Printable ASCII only: most values are, and need no closer look.
bool IsPlainAscii(std::string_view text);

// UTF-8 without control characters other than tab and line breaks.
bool IsText(std::string_view bytes);

// The text on one line, with everything invisible spelt out: line breaks and tabs as \n, \r and \t,
// other control characters and invalid UTF-8 bytes as \xNN, and characters that change the
// direction of text, have no width or break lines (bidirectional controls, C1, U+2028,
// default-ignorable characters) as <U+202E>. Backslashes are not escaped: DNs are full of them and
// people copy DNs.
std::string OneLine(std::string_view text);

// The same for multi-line text: line feeds stay.
std::string Printable(std::string_view text);

// A JSON text with the characters that OneLine would escape as \uNNNN: the same value to any
// parser.
std::string EscapedInJson(std::string json);

// Terminal columns that the text takes.
int DisplayWidth(std::string_view text);

// The text, cut to `columns` and ended with "…" if it is wider.
std::string Shortened(std::string_view text, int columns);

std::string Base64(std::string_view bytes);

// A value as text for CSV. What OneLine would escape becomes <U+202E>, an invalid UTF-8 byte
// <0xFF>; tabs, line feeds and CR LF stay, since quotes can hold them. A "<" before "U+", "0x" or
// "binary:" becomes <U+003C>, so that the original value can be recovered.
std::string CsvText(std::string_view text);

// Such text as a field (RFC 4180), quoted if necessary. If a spreadsheet would evaluate it ("=",
// "@", and "+" or "-" before more than digits), its first character becomes <U+003D>.
std::string CsvCell(std::string_view escaped);

// CsvText and CsvCell in one.
std::string CsvField(std::string_view text);

// The text with each `what` replaced.
std::string Replaced(std::string_view text, std::string_view what, std::string_view with);

// A word of a command as a shell takes it, quoted if necessary.
std::string CommandWord(std::string_view word);

// "5 users", "1 group"
std::string Counted(std::uint64_t number, std::string_view noun);

// "a, b and c"
std::string Enumerated(const std::vector<std::string> &words);

}  // namespace zafo::cli
