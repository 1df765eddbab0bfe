// SPDX-License-Identifier: Apache-2.0
//
// Directory text made fit to print. A value can hold anything: control
// characters that would drive the terminal, bytes that are no text at all.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

// Printable ASCII only: most values are, and need no closer look.
bool IsPlainAscii(std::string_view text);

// UTF-8 without control characters other than tab and line breaks.
bool IsText(std::string_view bytes);

// The text on one line, with nothing in it that a reader does not see: line breaks and tabs as \n, \r
// and \t, other control characters and bytes that are no UTF-8 as \xNN, and as <U+202E> whatever
// turns the direction of text around, takes no room or breaks lines (bidirectional controls, C1,
// U+2028, default-ignorable characters). Backslashes stay as they are, because DNs are full of them and
// people copy DNs.
std::string OneLine(std::string_view text);

// The same for text of several lines: line feeds stay.
std::string Printable(std::string_view text);

// A JSON text in which what OneLine would show stands as \uNNNN: the same value to every parser.
std::string EscapedInJson(std::string json);

// Columns of a terminal that the text takes.
int DisplayWidth(std::string_view text);

// The text cut to `columns` with "…" at the end when it is wider.
std::string Shortened(std::string_view text, int columns);

std::string Base64(std::string_view bytes);

// A value as text for CSV. What OneLine would show stands as <U+202E>, a byte that is no UTF-8 as
// <0xFF>; tabs, line feeds and CR LF stay, for quotes hold them. A "<" before "U+", "0x" or "binary:" is
// <U+003C>, so that the value can always be had back.
std::string CsvText(std::string_view text);

// Such text as a field (RFC 4180), in quotes when it needs them. What a spreadsheet would compute
// ("=", "@", and "+" or "-" before more than figures) has its first character as <U+003D>.
std::string CsvCell(std::string_view escaped);

// Both for a whole field.
std::string CsvField(std::string_view text);

// "a, b and c"
std::string Enumerated(const std::vector<std::string> &words);

}  // namespace zafo::cli
